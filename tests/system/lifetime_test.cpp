// The library's end, as hosts bring it about: in good order, not at all, or by unloading the DLL
// while its thread is still busy.
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "system/host.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace Tav::Testing {
namespace {

using Lifetime = HostTest;
using Clock = std::chrono::steady_clock;

constexpr char kHang[] = R"({"kind":"hang","count":1})";
// The terminate time and what a busy machine may add to it.
constexpr std::chrono::seconds kTerminateBound{14};

TEST_F(Lifetime, TerminationSendsWhatIsLeftAndTheLibraryCanStartAgain) {
  for (int run = 0; run < 3; ++run) {
    Initialize();
    EXPECT_EQ(tav_->Initialize("System.Test", "1.0", "", 3), TAV_ALREADY_INITIALIZED);
    tav_->LogEvent(tav_->NewEvent("last"));
    tav_->Terminate();
    tav_->Terminate();
    EXPECT_EQ(json_array_size(Arrived("last").Get()), static_cast<size_t>(run) + 1);
  }
  EXPECT_EQ(GatewayCount("sessions"), 3);
}

TEST_F(Lifetime, TerminationDoesNotWaitForAGatewayThatNeverAnswers) {
  Initialize();
  EXPECT_EQ(tav_->Commit(), 0);
  TellGateway("api/faults", kHang);
  tav_->LogEvent(tav_->NewEvent("stuck"));
  const Clock::time_point start = Clock::now();
  tav_->Terminate();
  EXPECT_LT(Clock::now() - start, kTerminateBound);
  // Whatever of the old life is still inside a request, a new one does not depend on it.
  Initialize();
  tav_->LogEvent(tav_->NewEvent("next life"));
  EXPECT_EQ(tav_->Commit(), 0);
  EXPECT_EQ(json_array_size(Arrived("next%20life").Get()), 1u);
  ResetGateway();  // lets go of the request, so that the thread can end
}

#ifdef _WIN32

// Only here: natively the leak check would complain, with reason.
TEST_F(Lifetime, AProcessMayEndWithoutTermination) {
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

TEST_F(Lifetime, TheModuleStaysMappedWhileItsThreadRuns) {
  const std::string path = ::testing::TempDir() + "tav_unloaded.dll";
  ASSERT_TRUE(CopyFileA(std::getenv("TAV_TEST_LIBRARY"), path.c_str(), FALSE));
  const HMODULE module = LoadLibraryA(path.c_str());
  ASSERT_NE(module, nullptr);
  const auto loader = reinterpret_cast<TavLoaderFunction>(
      reinterpret_cast<void*>(GetProcAddress(module, TAV_LOADER_NAME)));
  const TavEntryTable* const tav = loader(TAV_INTERFACE_VERSION);
  UseFolder(tav);
  ASSERT_EQ(tav->Initialize("Unloaded", "1.0", "1.0.0", 3), TAV_OK);
  TellGateway("api/faults", kHang);
  tav->LogEvent(tav->NewEvent("stuck"));
  // A request that began before the end was in sight has its full time, more than Terminate has.
  const Clock::time_point patience = Clock::now() + std::chrono::seconds(60);
  while (json_array_size(AskGateway("api/faults").Get()) != 0 && Clock::now() < patience) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  tav->Terminate();
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_NE(GetModuleHandleA("tav_unloaded.dll"), nullptr);
  ResetGateway();
  // The thread's request fails now, the thread ends, and the module goes with it.
  const Clock::time_point end = Clock::now() + std::chrono::seconds(60);
  while (GetModuleHandleA("tav_unloaded.dll") != nullptr && Clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(GetModuleHandleA("tav_unloaded.dll"), nullptr);
  DeleteFileA(path.c_str());
}

#endif

}  // namespace
}  // namespace Tav::Testing
