#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

#include "platform/windows/system_library.h"
#include "support/temp_folder.h"
#include "tav/tav.h"

namespace Tav {
namespace {

// ntdll's notifications; no header of the SDK declares them.
struct CountedText {
  USHORT bytes;
  USHORT capacity;
  const wchar_t* units;
};
struct LoadedModule {
  ULONG flags;
  const CountedText* path;
  const CountedText* name;
};
constexpr ULONG kLoaded = 1;
using Notify = void(CALLBACK*)(ULONG reason, const LoadedModule* module, void* context);
using Register = LONG(WINAPI*)(ULONG flags, Notify notify, void* context, void** cookie);
using Unregister = LONG(WINAPI*)(void* cookie);

template <typename Function>
Function FromNtdll(const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
}

// The libraries that the process loads while the object exists, and the threads that load them.
class LoadWatch {
 public:
  LoadWatch() {
    const auto watch = FromNtdll<Register>("LdrRegisterDllNotification");
    valid_ = watch != nullptr && watch(0, OnLoad, this, &cookie_) == 0;
  }
  ~LoadWatch() {
    if (valid_) {
      FromNtdll<Unregister>("LdrUnregisterDllNotification")(cookie_);
    }
  }
  LoadWatch(const LoadWatch&) = delete;
  LoadWatch& operator=(const LoadWatch&) = delete;

  bool Valid() const { return valid_; }

  std::vector<std::string> By(bool thisThread) {
    const std::lock_guard guard(lock_);
    std::vector<std::string> names;
    for (const auto& [thread, name] : loads_) {
      if ((thread == GetCurrentThreadId()) == thisThread) {
        names.push_back(name);
      }
    }
    return names;
  }

 private:
  static void CALLBACK OnLoad(ULONG reason, const LoadedModule* module, void* context) {
    if (reason != kLoaded) {
      return;
    }
    auto* const self = static_cast<LoadWatch*>(context);
    std::string name;
    std::transform(module->name->units, module->name->units + module->name->bytes / sizeof(wchar_t),
                   std::back_inserter(name),
                   [](wchar_t unit) { return static_cast<char>(std::tolower(unit)); });
    const std::lock_guard guard(self->lock_);
    self->loads_.emplace_back(GetCurrentThreadId(), name);
  }

  std::mutex lock_;
  std::vector<std::pair<DWORD, std::string>> loads_;
  void* cookie_ = nullptr;
  bool valid_ = false;
};

// Loading a system library takes tens of milliseconds, which a host's thread must not pay for.
TEST(StartTest, OnlyTheLibrarysOwnThreadsLoadSystemLibraries) {
  const Testing::TempFolder folder;
  SetEnvironmentVariableW(L"LOCALAPPDATA", folder.Root().c_str());
  SetEnvironmentVariableW(L"TAV_GATEWAY", L"null://");
  SetEnvironmentVariableW(L"TAV_CONFIGURATOR", L"null://");
  LoadWatch watch;
  if (!watch.Valid()) {
    GTEST_SKIP() << "this system does not report the loading of libraries";
  }
  const HMODULE module = LoadLibraryA(TAV_TEST_DLL);
  ASSERT_NE(module, nullptr) << GetLastError();
  const auto load = reinterpret_cast<TavLoaderFunction>(
      reinterpret_cast<void*>(GetProcAddress(module, TAV_LOADER_NAME)));
  const TavEntryTable& tav = *load(TAV_INTERFACE_VERSION);
  ASSERT_EQ(tav.Initialize("Start", "1.0", "1.0.0.1", TAV_LANGUAGE_EN_US), TAV_OK);
  TavSession_s* const session = tav.SessionBegin();
  tav.LogEvent(tav.SessionNewEvent(session, "InSession"));
  tav.SessionEnd(session);
  tav.LogEvent(tav.NewEvent("Implied"));
  EXPECT_EQ(watch.By(true), std::vector<std::string>{"tav.dll"});

  // The session thread hashes the identifier before it answers.
  char identifier[64] = "";
  tav.GetEndpointIdentifier(identifier, sizeof identifier);
  const std::vector<std::string> others = watch.By(false);
  EXPECT_NE(std::find(others.begin(), others.end(), "bcrypt.dll"), others.end());
  tav.Terminate();
  EXPECT_EQ(watch.By(true), std::vector<std::string>{"tav.dll"});
  FreeLibrary(module);
}

TEST(SystemFunctionTest, ReportsWhatCannotBeFound) {
  using Function = int(int);
  Platform::SystemFunction<Function> noLibrary(L"tav-missing.dll", "Missing", -7);
  EXPECT_EQ(noLibrary(1), -7);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
  Platform::SystemFunction<Function> noFunction(L"kernel32.dll", "TavMissing", -7);
  EXPECT_EQ(noFunction(1), -7);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_PROC_NOT_FOUND});
  // In the folder of the program, but not in that of the system.
  Platform::SystemFunction<int(int, size_t)> planted(L"tav_runtime.dll", "Fail", -7);
  EXPECT_EQ(planted(0, 0), -7);
}

}  // namespace
}  // namespace Tav
