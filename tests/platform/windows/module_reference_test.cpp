#include <gtest/gtest.h>
#include <windows.h>

#include "platform/clock.h"
#include "platform/thread.h"

namespace Tav::Platform {
namespace {

constexpr wchar_t kModule[] = L"tav_module_reference.dll";
constexpr int kUnloadTimeoutMs = 20000;

using StartWork = bool (*)(void (*callback)(void* argument), void* argument);

struct HeldWork {
  AutoResetEvent started;
  AutoResetEvent release;
};

void HoldWork(void* argument) {
  auto* const held = static_cast<HeldWork*>(argument);
  held->started.Set();
  held->release.Wait(-1);
}

bool GoneWithin(int milliseconds) {
  const int64_t deadline = MonotonicMilliseconds() + milliseconds;
  while (GetModuleHandleW(kModule)) {
    if (MonotonicMilliseconds() > deadline) {
      return false;
    }
    SleepMilliseconds(1);
  }
  return true;
}

TEST(NativeThreadTest, KeepsItsModuleMappedUntilItHasEnded) {
  for (int turn = 0; turn < 20; ++turn) {
    const HMODULE module = LoadLibraryW(kModule);
    ASSERT_NE(module, nullptr) << GetLastError();
    const auto start =
        reinterpret_cast<StartWork>(reinterpret_cast<void*>(GetProcAddress(module, "StartWork")));
    ASSERT_NE(start, nullptr);
    HeldWork held;
    ASSERT_TRUE(start(HoldWork, &held));
    ASSERT_EQ(held.started.Wait(kUnloadTimeoutMs), WaitResult::Signalled);
    ASSERT_TRUE(FreeLibrary(module));
    EXPECT_NE(GetModuleHandleW(kModule), nullptr);
    held.release.Set();
    ASSERT_TRUE(GoneWithin(kUnloadTimeoutMs)) << "turn " << turn;
  }
}

}  // namespace
}  // namespace Tav::Platform
