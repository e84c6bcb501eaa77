#include <gtest/gtest.h>
#include <windows.h>

namespace Tav {
namespace {

// The default of such a failure, or an abort, would end the host.
TEST(RuntimeTest, ADefectIsAnExceptionThatCanBeCaught) {
  const HMODULE module = LoadLibraryW(L"tav_runtime.dll");
  ASSERT_NE(module, nullptr) << GetLastError();
  const auto fail = reinterpret_cast<int (*)(int failure, size_t tooMuch)>(
      reinterpret_cast<void*>(GetProcAddress(module, "Fail")));
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

}  // namespace
}  // namespace Tav
