// One client of the fleet beside the library's own parts, second by second on a clock of the test.
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "fleet/fleet.h"
#include "session/session_parts.h"

namespace Fleet {
namespace {

// What the monotonic clock shows, in seconds; negative: the real time.
constinit std::atomic<int64_t> steppedClock{-1};

}  // namespace
}  // namespace Fleet

// In place of the C library's, for this program.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  const int64_t stepped = Fleet::steppedClock.load(std::memory_order_relaxed);
  if (result == 0 && clock == CLOCK_MONOTONIC && stepped >= 0) {
    *time = {stepped, 0};
  }
  return result;
}

namespace Fleet {
namespace {

constexpr int64_t kHourOfDay = 3600;

class FleetLibraryTest : public Tav::Testing::SessionManagerTest {
 protected:
  FleetLibraryTest() {
    scenario_.clients = 1;
    scenario_.limits = LibraryLimits();
    scenario_.end = kDay + 12 * kHourOfDay;
    scenario_.workday.length = 3 * kHourOfDay;
    scenario_.requestsPerSecond = 1000;
    // The second one lasts until the run has ended, so the next run begins with a cache.
    scenario_.gateways.outages = {{9 * kHourOfDay, 10 * kHourOfDay},
                                  {10 * kHourOfDay + 2400, kDay}};
    Tav::TestDataSender::SetHook(&Receive);
    accepted = 0;
    inVain = 0;
  }
  ~FleetLibraryTest() override {
    steppedClock = -1;
    Tav::TestDataSender::SetHook(nullptr);
  }

  // Null data opens a connection.
  static int32_t Receive(const uint8_t* data, size_t) {
    if (gone) {
      ++inVain;
    } else if (data != nullptr) {
      ++accepted;
    }
    return gone ? 1 : 0;
  }

  void SetTime(int64_t time) {
    steppedClock = time;
    gone = false;
    for (const GatewayModel::Outage& outage : scenario_.gateways.outages) {
      gone = gone || (time >= outage.begin && time < outage.end);
    }
  }

  // A turn of the session thread, without a thread.
  void Turn(Tav::Testing::SessionParts& run, int64_t events) {
    Tav::Delivery& delivery = run.delivery;
    delivery.Schedule().CheckTimers(Tav::ReadClocks());
    for (int64_t i = 0; i < events; ++i) {
      run.Log("event");
    }
    const bool due = delivery.IsSendDue(false);
    if (due) {
      // The test sender does not show a request without a body, with which such a send begins.
      const bool onlyCached = !delivery.Sending() && delivery.Store().NothingInMemory() &&
                              delivery.Store().CacheSize() > 0;
      accepted += onlyCached && !gone ? 1 : 0;
      delivery.SendSome();
    }
    if (!due || delivery.Sending()) {
      run.flush.FlushIfDue();
    }
    run.flush.Arm();
  }

  void ExpectEqualSecond(const Figures& figures, int64_t time) {
    ASSERT_EQ(accepted.exchange(0), figures.At(time).accepted) << time;
    ASSERT_EQ(inVain.exchange(0), figures.At(time).gone) << time;
  }

  // Compares the day of the scenario's only client.
  void Compare(const Figures& figures, int64_t day) {
    const Workday& workday = scenario_.workday;
    const Activity activity(workday, scenario_.seed, 0, day);
    SetTime(activity.Start());
    Tav::Testing::SessionParts run(config_, Tav::Testing::Wmi("1"));
    run.delivery.Schedule().SetInitialWaitTime(Tav::ReadClocks(), run.delivery.Store().CacheSize(),
                                               run.delivery.Store().OldestCached());
    int64_t reported = 0;
    for (int64_t time = activity.Start(); time < activity.Stop(); ++time) {
      SetTime(time);
      const int64_t events = activity.EventsUntil(time, workday);
      Turn(run, events - std::exchange(reported, events));
      ASSERT_NO_FATAL_FAILURE(ExpectEqualSecond(figures, time));
    }
    SetTime(activity.Stop());
    for (const int64_t events = activity.EventsUntil(activity.Stop(), workday); reported < events;
         ++reported) {
      run.Log("event");
    }
    run.Terminate();
    ASSERT_NO_FATAL_FAILURE(ExpectEqualSecond(figures, activity.Stop()));
  }

  Scenario scenario_;
  static inline std::atomic<bool> gone{false};
  static inline std::atomic<int32_t> accepted{0};
  static inline std::atomic<int32_t> inVain{0};
};

TEST_F(FleetLibraryTest, OneClientSendsInTheSecondsInWhichTheLibraryWould) {
  for (const int interval : {300, 1700, 5}) {
    scenario_.limits.schedule.sendInterval = interval;
    config_.sendInterval = interval;
    const Figures figures = Simulate(scenario_);
    int64_t attempts = 0;
    for (int64_t time = figures.Begin(); time < figures.End(); ++time) {
      attempts += figures.At(time).gone;
    }
    EXPECT_GT(attempts, 3);
    ASSERT_NO_FATAL_FAILURE(Compare(figures, 0)) << interval;
    ASSERT_NO_FATAL_FAILURE(Compare(figures, 1)) << interval;
    log_.Take();
  }
}

}  // namespace
}  // namespace Fleet
