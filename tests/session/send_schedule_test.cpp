#include "session/send_schedule.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/random.h"

namespace Tav {
namespace {

constexpr int64_t kUnixNow = 1'700'000'000;
constexpr Now kNow{MonotonicTime(5000), kUnixNow};

// Later, by both clocks.
constexpr Now operator+(const Now& now, int64_t seconds) {
  return {now.monotonic + seconds, now.unixSeconds + seconds};
}

SendSchedule::Tuning Defaults() {
  SendSchedule::Tuning tuning;
  tuning.sendInterval = 300;
  tuning.sendThreshold = 1048576;
  tuning.flushInterval = 360;
  tuning.pauseInterval = 1;
  tuning.resendTime = 300;
  tuning.resendDelta = 900;
  return tuning;
}

SendSchedule Scheduled(const SendSchedule::Tuning& tuning) {
  SendSchedule schedule;
  schedule.Tune(tuning);
  return schedule;
}

TEST(SendScheduleTest, NothingArmedSleepsADayAndIsDueAtOnce) {
  SendSchedule schedule = Scheduled(Defaults());
  schedule.SetInitialWaitTime(kNow, 0, 0);
  EXPECT_EQ(schedule.ComputeTimeout(kNow), 86400);
  EXPECT_TRUE(schedule.IsDue(false));
  EXPECT_FALSE(schedule.IsDue(true));
}

TEST(SendScheduleTest, ActivityHoldsTheSendBackForThePause) {
  SendSchedule schedule = Scheduled(Defaults());
  schedule.OnFirstPending(kNow);
  EXPECT_EQ(schedule.ComputeTimeout(kNow), 1);
  schedule.CheckTimers(kNow);
  EXPECT_FALSE(schedule.IsDue(false));
  schedule.OnFirstPending(kNow + 1);  // already armed: stays
  schedule.CheckTimers(kNow + 1);
  EXPECT_TRUE(schedule.IsDue(false));
  EXPECT_EQ(schedule.MemoryFlushTime(), kNow.monotonic + 360);
}

TEST(SendScheduleTest, AfterASendTheIntervalRunsThenTheNextIsDue) {
  for (const auto& [interval, wait] : {std::pair{300, 300}, {60, 60}, {1, 1}, {0, 300}}) {
    SendSchedule::Tuning tuning = Defaults();
    tuning.sendInterval = interval;
    SendSchedule schedule = Scheduled(tuning);
    schedule.OnFirstPending(kNow);
    schedule.OnSent(kNow);
    schedule.OnSendDone();
    EXPECT_EQ(schedule.WaitTime(), kNow.monotonic + wait);
    EXPECT_EQ(schedule.MemoryFlushTime(), MonotonicTime());
    schedule.CheckTimers(kNow + (wait - 1));
    EXPECT_FALSE(schedule.IsDue(false));
    schedule.CheckTimers(kNow + wait);
    EXPECT_TRUE(schedule.IsDue(false));
  }
}

TEST(SendScheduleTest, ANegativeIntervalNeverSends) {
  SendSchedule::Tuning tuning = Defaults();
  tuning.sendInterval = -1;
  SendSchedule schedule = Scheduled(tuning);
  EXPECT_FALSE(schedule.IsDue(false));
  // The flush timer goes on whatever has gathered.
  schedule.OnFirstPending(kNow);
  EXPECT_FALSE(schedule.CheckSendThreshold({2000000, 0}));
  schedule.CheckTimers(kNow + 360);
  EXPECT_TRUE(schedule.FlushExpired());
  EXPECT_FALSE(schedule.IsDue(false));
}

TEST(SendScheduleTest, BackOffGrowsWithEachFailureAndEndsWithASuccess) {
  SendSchedule schedule = Scheduled(Defaults());
  Now now = kNow;
  for (const int wait : {300, 1200, 2100, 3000}) {
    schedule.OnSendFailure(now);
    schedule.OnSendDone();
    EXPECT_EQ(schedule.WaitTime(), now.monotonic + wait);
    // The threshold does not break the back-off.
    EXPECT_FALSE(schedule.CheckSendThreshold({1 << 30, 0}));
    schedule.CheckTimers(now + (wait - 1));
    EXPECT_FALSE(schedule.IsDue(false));
    now = now + wait;
    schedule.CheckTimers(now);
    EXPECT_TRUE(schedule.IsDue(false));
  }
  EXPECT_EQ(schedule.Failures(), 4);
  schedule.OnSent(now);
  EXPECT_EQ(schedule.Failures(), 0);
  EXPECT_TRUE(schedule.CheckSendThreshold({1048576, 0}));
}

TEST(SendScheduleTest, TheFirstFailureArmsTheFlushAndTheFlushEndsThePause) {
  SendSchedule schedule = Scheduled(Defaults());
  schedule.OnSendFailure(kNow);
  EXPECT_EQ(schedule.MemoryFlushTime(), kNow.monotonic + 360);
  schedule.OnSendFailure(kNow + 100);
  EXPECT_EQ(schedule.MemoryFlushTime(), kNow.monotonic + 360);
  schedule.ArmPause(kNow + 500);
  schedule.CheckTimers(kNow + 360);
  EXPECT_TRUE(schedule.FlushExpired());
  EXPECT_EQ(schedule.PauseTime(), MonotonicTime());
  schedule.OnFlushed();
  EXPECT_FALSE(schedule.FlushExpired());
  EXPECT_EQ(schedule.MemoryFlushTime(), MonotonicTime());
}

TEST(SendScheduleTest, AServersWishOnlyLengthensTheBackOff) {
  SendSchedule schedule = Scheduled(Defaults());
  schedule.OnSendFailure(kNow, 10);
  EXPECT_EQ(schedule.WaitTime(), kNow.monotonic + 300);
  schedule.OnSendFailure(kNow, 3600);
  EXPECT_EQ(schedule.WaitTime(), kNow.monotonic + 3600);
  schedule.OnSendFailure(kNow);
  EXPECT_EQ(schedule.WaitTime(), kNow.monotonic + 2100);
}

TEST(SendScheduleTest, WhatIsLeftInMemoryHasAFlushTimeOrADueFlush) {
  SendSchedule schedule = Scheduled(Defaults());
  schedule.OnSent(kNow);
  schedule.OnLeftInMemory(kNow + 1);
  schedule.OnLeftInMemory(kNow + 9);
  EXPECT_EQ(schedule.MemoryFlushTime(), kNow.monotonic + 361);
  schedule.CheckTimers(kNow + 361);
  schedule.OnLeftInMemory(kNow + 361);
  EXPECT_EQ(schedule.MemoryFlushTime(), MonotonicTime());
  EXPECT_TRUE(schedule.FlushExpired());
}

TEST(SendScheduleTest, AFailureEndsASendNowSoThatActivityDoesNotBreakTheBackOff) {
  SendSchedule schedule = Scheduled(Defaults());
  schedule.SetInitialWaitTime(kNow, 1, 0);
  EXPECT_TRUE(schedule.IsDue(false));
  schedule.OnSendFailure(kNow);
  schedule.OnSendDone();
  schedule.OnFirstPending(kNow + 5);
  schedule.CheckTimers(kNow + 299);
  EXPECT_FALSE(schedule.IsDue(false));
  schedule.CheckTimers(kNow + 300);
  EXPECT_TRUE(schedule.IsDue(false));
}

TEST(SendScheduleTest, AFlushThatFailsIsRepeatedAfterTheFlushIntervalAndNeverAtOnce) {
  for (const auto& [interval, wait] : {std::pair{360, 360}, {1, 1}, {0, 1}}) {
    SendSchedule::Tuning tuning = Defaults();
    tuning.flushInterval = interval;
    tuning.resendTime = 0;
    tuning.resendDelta = 0;
    SendSchedule schedule = Scheduled(tuning);
    schedule.OnFlushed();
    schedule.OnFlushFailed(kNow);
    EXPECT_TRUE(schedule.FlushFailed());
    EXPECT_EQ(schedule.ComputeTimeout(kNow), wait);
    schedule.CheckTimers(kNow + wait);
    EXPECT_TRUE(schedule.FlushExpired());
    schedule.OnFlushed();
    EXPECT_FALSE(schedule.FlushFailed());
    schedule.OnSendFailure(kNow);
    EXPECT_EQ(schedule.WaitTime(), kNow.monotonic + 1);
  }
}

TEST(SendScheduleTest, TheThresholdCountsMemoryAndCacheAndOverridesTimers) {
  SendSchedule schedule = Scheduled(Defaults());
  schedule.OnFirstPending(kNow);
  schedule.OnSent(kNow);
  schedule.OnFirstPending(kNow);
  EXPECT_FALSE(schedule.CheckSendThreshold({1048575, 0}));
  EXPECT_FALSE(schedule.IsDue(false));
  EXPECT_TRUE(schedule.CheckSendThreshold({1000000, 48576}));
  EXPECT_TRUE(schedule.IsDue(false));
  EXPECT_FALSE(schedule.Armed());
}

TEST(SendScheduleTest, InitialWaitDependsOnCacheAndPersistentInterval) {
  struct Case {
    bool persistent;
    int cacheSize;
    int64_t age;  // of the oldest file, by the wall clock
    int64_t wait;
    bool sendNow;
  };
  constexpr int64_t kYears = 74 * int64_t{31'557'600};
  for (const Case& c :
       {Case{false, 0, 0, 0, false}, Case{true, 0, 0, 300, false}, Case{true, 10, 100, 200, false},
        Case{true, 10, 300, 0, true}, Case{false, 10, 0, 0, true}, Case{true, 10, kYears, 0, true},
        // A file from the future: written now, or by a clock that was wrong.
        Case{true, 10, -1, 300, false}, Case{true, 10, -300, 300, false},
        Case{true, 10, -301, 0, true}, Case{true, 10, -kYears, 0, true}}) {
    SendSchedule::Tuning tuning = Defaults();
    tuning.persistentInterval = c.persistent;
    SendSchedule schedule = Scheduled(tuning);
    schedule.SetInitialWaitTime(kNow, c.cacheSize, kUnixNow - c.age);
    EXPECT_EQ(schedule.WaitTime(), c.wait == 0 ? MonotonicTime() : kNow.monotonic + c.wait)
        << c.age;
    EXPECT_EQ(schedule.SendNow(), c.sendNow) << c.age;
  }
}

// The wall clock is set to any date now and then.
struct JumpingClocks {
  void Advance(int64_t seconds) {
    now = now + seconds;
    if (random.OneIn(4)) {
      now.unixSeconds = random.Below(1 << 30) * 4;
    }
  }

  Testing::Random random;
  Now now = kNow;
};

// The loop of the session thread on a computer that sometimes sleeps for days.
TEST(SendScheduleTest, JumpsOfTheWallClockDoNotMoveATimer) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    JumpingClocks clocks{Testing::Random(seed)};
    Testing::Random& random = clocks.random;
    const Now& now = clocks.now;
    SendSchedule::Tuning tuning = Defaults();
    tuning.persistentInterval = seed % 2 == 0;
    tuning.sendInterval = static_cast<int>(random.Below(2000));
    tuning.flushInterval = static_cast<int>(random.Below(2000));
    tuning.pauseInterval = static_cast<int>(random.Below(100));
    SendSchedule schedule = Scheduled(tuning);
    schedule.SetInitialWaitTime(now, seed % 3, random.Below(1 << 30) * 4);
    bool pending = false;
    MonotonicTime limit = now.monotonic + tuning.sendInterval;
    for (int turn = 0; turn < 300; ++turn) {
      const int timeout = schedule.ComputeTimeout(now);
      ASSERT_GE(timeout, 0);
      ASSERT_LE(timeout, 86400);
      clocks.Advance(random.OneIn(20)  ? random.Below(500000)
                     : random.OneIn(2) ? random.Below(timeout + 1)
                                       : timeout);
      schedule.CheckTimers(now);
      for (const MonotonicTime timer :
           {schedule.WaitTime(), schedule.MemoryFlushTime(), schedule.PauseTime()}) {
        ASSERT_TRUE(timer == MonotonicTime() || timer > now.monotonic);
      }
      if (!pending) {
        schedule.OnFirstPending(now);
        pending = true;
        if (now.monotonic > limit) {
          limit = now.monotonic + tuning.pauseInterval;  // nothing to send until now
        }
      }
      if (!schedule.IsDue(false)) {
        // A new pause begins with the first event, also after a flush.
        ASSERT_LT(now.monotonic, limit + tuning.pauseInterval) << "a send is overdue";
        if (schedule.FlushExpired()) {
          schedule.OnFlushed();
          pending = false;
        }
        continue;
      }
      int64_t wait = tuning.sendInterval < 1 ? 300 : tuning.sendInterval;
      if (random.OneIn(3)) {
        wait = tuning.resendTime + int64_t{tuning.resendDelta} * schedule.Failures();
        schedule.OnSendFailure(now);
      } else {
        schedule.OnSent(now);
      }
      schedule.OnSendDone();
      ASSERT_EQ(schedule.WaitTime(), now.monotonic + wait);
      limit = now.monotonic + wait;
      pending = false;
    }
  }
}

}  // namespace
}  // namespace Tav
