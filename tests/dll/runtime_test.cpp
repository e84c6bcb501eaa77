#include <gtest/gtest.h>
#include <windows.h>

#include <string>
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

TEST(RuntimeTest, TextThatDoesNotFitIsCutAndMeasured) {
  const HMODULE module = LoadLibraryW(L"tav_runtime.dll");
  ASSERT_NE(module, nullptr) << GetLastError();
  using FormatFunction = int (*)(char*, size_t, const char*);
  const auto format = reinterpret_cast<FormatFunction>(
      reinterpret_cast<void (*)()>(GetProcAddress(module, "Format")));
  ASSERT_NE(format, nullptr);
  const std::string whole = "text 2500.125 -7";
  const int length = static_cast<int>(whole.size());
  char text[32];
  EXPECT_EQ(format(text, sizeof text, "2.500125e3"), length);
  EXPECT_EQ(text, whole);
  for (const size_t size : {whole.size(), size_t{5}, size_t{1}}) {
    EXPECT_EQ(format(text, size, "2.500125e3"), length);
    EXPECT_EQ(text, whole.substr(0, size - 1));
  }
  EXPECT_EQ(format(nullptr, 0, "2.500125e3"), length);
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
