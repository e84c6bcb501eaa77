#include <gtest/gtest.h>
#include <windows.h>

#include <thread>
#include <vector>

namespace Tav {
namespace {

using FailFunction = int (*)(int failure, size_t tooMuch);

FailFunction FindFail(HMODULE module) {
  return reinterpret_cast<FailFunction>(reinterpret_cast<void*>(GetProcAddress(module, "Fail")));
}

// The default of such a failure, or an abort, would end the host.
TEST(RuntimeTest, ADefectIsAnExceptionThatCanBeCaught) {
  const HMODULE module = LoadLibraryW(L"tav_runtime.dll");
  ASSERT_NE(module, nullptr) << GetLastError();
  const FailFunction fail = FindFail(module);
  ASSERT_NE(fail, nullptr);
  EXPECT_EQ(fail(0, 0), 0);
  EXPECT_EQ(fail(0, 7), 2) << "std::string::substr";
  EXPECT_EQ(fail(1, 7), 2) << "std::vector::at";
  EXPECT_EQ(fail(2, 7), 2) << "std::stoi";
#ifdef __GLIBCXX__
  EXPECT_EQ(fail(3, 7), 2) << "std::string(nullptr)";
  EXPECT_EQ(fail(4, 7), 1) << "std::vector::resize";
#endif
  FreeLibrary(module);
}

// Each thread has a slot for its exceptions, which is released when the thread ends.
TEST(RuntimeTest, ThreadsThrowAtTheSameTime) {
  const HMODULE module = LoadLibraryW(L"tav_runtime.dll");
  ASSERT_NE(module, nullptr) << GetLastError();
  const FailFunction fail = FindFail(module);
  ASSERT_NE(fail, nullptr);
  for (int round = 0; round < 20; ++round) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([fail, thread] {
        for (int i = 0; i < 100; ++i) {
          ASSERT_EQ(fail(thread % 3, 7), 2);
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  FreeLibrary(module);
}

}  // namespace
}  // namespace Tav
