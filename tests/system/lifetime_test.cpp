// The ways in which the library ends: Terminate, the end of the process, and FreeLibrary while its
// thread is busy.
#include <cstdlib>
#include <string>

#include "system/host.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace Tav::Testing {
namespace {

using LifetimeTest = HostTest;

TEST_F(LifetimeTest, TheLibraryCanStartAgainAfterTerminate) {
  for (int run = 0; run < 3; ++run) {
    Initialize();
    EXPECT_EQ(tav_->Initialize("Other", "1.0", "", TAV_LANGUAGE_NONE), TAV_ALREADY_INITIALIZED);
    tav_->LogEvent(tav_->NewEvent("last"));
    Stop();
    Stop();
    EXPECT_EQ(TimesArrived("last"), static_cast<size_t>(run) + 1);
  }
  EXPECT_EQ(GatewayCount("sessions"), 3);
}

#ifdef _WIN32

// On Windows only: a leak checker would rightly report it.
TEST_F(LifetimeTest, AProcessMayEndWithoutTerminate) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        Initialize();
        for (int i = 0; i < 1000; ++i) {
          tav_->LogEvent(tav_->NewEvent("unfinished"));
        }
        std::exit(7);
      },
      ::testing::ExitedWithCode(7), "");
}

TEST_F(LifetimeTest, TheModuleStaysMappedWhileItsThreadRuns) {
  const std::string path = ::testing::TempDir() + "tav_unloaded.dll";
  ASSERT_TRUE(CopyFileA(std::getenv("TAV_TEST_LIBRARY"), path.c_str(), FALSE));
  const HMODULE module = LoadLibraryA(path.c_str());
  ASSERT_NE(module, nullptr);
  const auto loader = reinterpret_cast<TavLoaderFunction>(
      reinterpret_cast<void*>(GetProcAddress(module, TAV_LOADER_NAME)));
  const TavEntryTable* const tav = loader(TAV_INTERFACE_VERSION);
  UseFolder(tav);
  ASSERT_EQ(tav->Initialize("Unloaded", "1.0", "1.0.0", TAV_LANGUAGE_EN_US), TAV_OK);
  GatewayPost("api/faults", R"({"kind":"hang","count":1})");
  tav->LogEvent(tav->NewEvent("stuck"));
  // A request that begins before Terminate may take longer than the terminate time.
  EXPECT_TRUE(Eventually([] { return json_array_size(GatewayGet("api/faults").Get()) == 0; }));
  tav->Terminate();
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_NE(GetModuleHandleA("tav_unloaded.dll"), nullptr);
  ResetGateway();
  // The request fails, so the thread ends, and with it the last reference to the module.
  EXPECT_TRUE(Eventually([] { return GetModuleHandleA("tav_unloaded.dll") == nullptr; }));
  DeleteFileA(path.c_str());
}

#endif

}  // namespace
}  // namespace Tav::Testing
