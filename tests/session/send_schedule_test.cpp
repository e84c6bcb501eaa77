#include "session/send_schedule.h"

#include <gtest/gtest.h>

namespace Tav {
namespace {

constexpr int64_t kNow = 1'700'000'000;

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
  EXPECT_EQ(schedule.MemoryFlushTime(), kNow + 360);
}

TEST(SendScheduleTest, AfterASendTheIntervalRunsThenTheNextIsDue) {
  for (const auto& [interval, wait] : {std::pair{300, 300}, {60, 60}, {1, 1}, {0, 300}}) {
    SendSchedule::Tuning tuning = Defaults();
    tuning.sendInterval = interval;
    SendSchedule schedule = Scheduled(tuning);
    schedule.OnFirstPending(kNow);
    schedule.OnSent(kNow);
    schedule.OnSendDone();
    EXPECT_EQ(schedule.WaitTime(), kNow + wait);
    EXPECT_EQ(schedule.MemoryFlushTime(), 0);
    schedule.CheckTimers(kNow + wait - 1);
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
  int64_t now = kNow;
  for (const int wait : {300, 1200, 2100, 3000}) {
    schedule.OnSendFailure(now);
    schedule.OnSendDone();
    EXPECT_EQ(schedule.WaitTime(), now + wait);
    // The threshold does not break the back-off.
    EXPECT_FALSE(schedule.CheckSendThreshold({1 << 30, 0}));
    schedule.CheckTimers(now + wait - 1);
    EXPECT_FALSE(schedule.IsDue(false));
    now += wait;
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
  EXPECT_EQ(schedule.MemoryFlushTime(), kNow + 360);
  schedule.OnSendFailure(kNow + 100);
  EXPECT_EQ(schedule.MemoryFlushTime(), kNow + 360);
  schedule.ArmPause(kNow + 500);
  schedule.CheckTimers(kNow + 360);
  EXPECT_TRUE(schedule.FlushExpired());
  EXPECT_EQ(schedule.PauseTime(), 0);
  schedule.OnFlushed();
  EXPECT_FALSE(schedule.FlushExpired());
  EXPECT_EQ(schedule.MemoryFlushTime(), 0);
}

TEST(SendScheduleTest, AServersWishOnlyLengthensTheBackOff) {
  SendSchedule schedule = Scheduled(Defaults());
  schedule.OnSendFailure(kNow, 10);
  EXPECT_EQ(schedule.WaitTime(), kNow + 300);
  schedule.OnSendFailure(kNow, 3600);
  EXPECT_EQ(schedule.WaitTime(), kNow + 3600);
  schedule.OnSendFailure(kNow);
  EXPECT_EQ(schedule.WaitTime(), kNow + 2100);
}

TEST(SendScheduleTest, WhatIsLeftInMemoryHasAFlushTimeOrADueFlush) {
  SendSchedule schedule = Scheduled(Defaults());
  schedule.OnSent(kNow);
  schedule.OnLeftInMemory(kNow + 1);
  schedule.OnLeftInMemory(kNow + 9);
  EXPECT_EQ(schedule.MemoryFlushTime(), kNow + 361);
  schedule.CheckTimers(kNow + 361);
  schedule.OnLeftInMemory(kNow + 361);
  EXPECT_EQ(schedule.MemoryFlushTime(), 0);
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
    EXPECT_EQ(schedule.WaitTime(), kNow + 1);
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
  EXPECT_EQ(schedule.WaitTime() + schedule.PauseTime() + schedule.MemoryFlushTime(), 0);
}

TEST(SendScheduleTest, InitialWaitDependsOnCacheAndPersistentInterval) {
  struct Case {
    bool persistent;
    int cacheSize;
    int64_t oldest;
    int64_t wait;
    bool sendNow;
  };
  for (const Case& c : {Case{false, 0, 0, 0, false}, Case{true, 0, 0, kNow + 300, false},
                        Case{true, 10, kNow - 100, kNow + 200, false},
                        Case{true, 10, kNow - 300, 0, true}, Case{false, 10, 0, 0, true}}) {
    SendSchedule::Tuning tuning = Defaults();
    tuning.persistentInterval = c.persistent;
    SendSchedule schedule = Scheduled(tuning);
    schedule.SetInitialWaitTime(kNow, c.cacheSize, c.oldest);
    EXPECT_EQ(schedule.WaitTime(), c.wait);
    EXPECT_EQ(schedule.SendNow(), c.sendNow);
  }
}

}  // namespace
}  // namespace Tav
