#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/clock.h"

namespace Tav::Platform {
namespace {

constexpr int kLongEnough = 20000;

TEST(Lock, LetsOneThreadInAtATime) {
  Lock lock;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < 20000; ++turn) {
        const std::lock_guard guard(lock);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(count, 80000);
}

TEST(AutoResetEvent, KeepsOneSetUntilOneWaitTakesIt) {
  AutoResetEvent event;
  ASSERT_TRUE(event.Valid());
  EXPECT_EQ(event.Wait(0), WaitResult::TimedOut);
  EXPECT_TRUE(event.Set());
  EXPECT_TRUE(event.Set());
  EXPECT_EQ(event.Wait(0), WaitResult::Signalled);
  EXPECT_EQ(event.Wait(0), WaitResult::TimedOut);
}

TEST(AutoResetEvent, TimesOutNotBeforeItsTime) {
  AutoResetEvent event;
  const int64_t start = MonotonicMilliseconds();
  EXPECT_EQ(event.Wait(60), WaitResult::TimedOut);
  // The clock's own steps are up to 16 ms.
  EXPECT_GE(MonotonicMilliseconds() - start, 60 - 16);
}

TEST(AutoResetEvent, EachSetReleasesExactlyOneThread) {
  AutoResetEvent requests;
  AutoResetEvent answers;
  constexpr int kTurns = 1000;
  std::atomic<int> served{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      while (requests.Wait(-1) == WaitResult::Signalled) {
        if (served == kTurns) {
          requests.Set();
          return;
        }
        ++served;
        answers.Set();
      }
    });
  }
  for (int turn = 1; turn <= kTurns; ++turn) {
    requests.Set();
    ASSERT_EQ(answers.Wait(kLongEnough), WaitResult::Signalled);
    ASSERT_EQ(served, turn);
  }
  // A thread that leaves passes the signal on to the other one.
  requests.Set();
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(Sleep, LastsAtLeastItsTime) {
  const int64_t start = MonotonicMilliseconds();
  SleepMilliseconds(40);
  EXPECT_GE(MonotonicMilliseconds() - start, 40 - 16);
  SleepMilliseconds(0);
  SleepMilliseconds(-1);
}

}  // namespace
}  // namespace Tav::Platform
