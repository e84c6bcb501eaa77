// A run whose wall clock is set to another year.
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "session/session_fixture.h"

namespace Tav {
namespace {

constinit std::atomic<int64_t> wallClockOffset{0};  // seconds

}  // namespace
}  // namespace Tav

// In place of the C library's, for this program.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  if (result == 0 && clock == CLOCK_REALTIME) {
    time->tv_sec += Tav::wallClockOffset.load(std::memory_order_relaxed);
  }
  return result;
}

namespace Tav {
namespace {

using Testing::Gateway;

class WallClockTest : public Testing::SessionManagerTest {
 protected:
  ~WallClockTest() override {
    Stop();
    wallClockOffset = 0;
  }
};

TEST_F(WallClockTest, TheNextSendIsDueAfterTheIntervalWhateverTheWallClockShows) {
  config_.sendInterval = 1;
  config_.pauseInterval = 0;
  config_.flushInterval = 1000;
  Start();
  Log("first");
  size_t events = 2;  // with that which begins the session
  EXPECT_TRUE(Testing::Eventually([&] { return Gateway::Events().size() == events; }));
  const int64_t start = CurrentTime();
  for (const int64_t unixSeconds : {start - 31'557'600, int64_t{4'110'000'000}, int64_t{5}}) {
    FinishTurn();  // the interval has begun
    wallClockOffset = unixSeconds - start;
    Log("next");
    ++events;
    ASSERT_TRUE(Testing::Eventually([&] { return Gateway::Events().size() == events; }))
        << unixSeconds;
  }
}

}  // namespace
}  // namespace Tav
