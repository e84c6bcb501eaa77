#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/error.h"
#include "platform/process.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <pthread.h>
#endif

namespace Tav::Platform {
namespace {

constexpr int kLongEnough = 20000;
// A wait may end a step of the system's clock early. MonotonicMilliseconds does not measure it:
// under Wine, that clock stands still while the server of Wine does not run.
constexpr std::chrono::milliseconds kClockStep{16};

template <typename LockType>
void IncrementOnFourThreads(LockType& lock) {
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

TEST(LockTest, AdmitsOneThreadAtATime) {
  Lock lock;
  IncrementOnFourThreads(lock);
  static constinit StaticLock staticLock;
  IncrementOnFourThreads(staticLock);
}

TEST(AutoResetEventTest, KeepsOneSetUntilOneWaitTakesIt) {
  AutoResetEvent event;
  ASSERT_TRUE(event.Valid());
  EXPECT_EQ(event.Wait(0), WaitResult::TimedOut);
  EXPECT_TRUE(event.Set());
  EXPECT_TRUE(event.Set());
  EXPECT_EQ(event.Wait(0), WaitResult::Signalled);
}

TEST(AutoResetEventTest, WaitsAndSleepsLastAtLeastTheirTime) {
  AutoResetEvent event;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(event.Wait(60), WaitResult::TimedOut);
  const auto waited = std::chrono::steady_clock::now();
  SleepMilliseconds(40);
  const auto slept = std::chrono::steady_clock::now();
  EXPECT_GE(waited - start, std::chrono::milliseconds(60) - kClockStep);
  EXPECT_GE(slept - waited, std::chrono::milliseconds(40) - kClockStep);
}

TEST(AutoResetEventTest, EachSetReleasesExactlyOneThread) {
  AutoResetEvent requests;
  AutoResetEvent answers;
  constexpr int kTurns = 1000;
  std::atomic<int> served{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      while (requests.Wait(-1) == WaitResult::Signalled) {
        if (served == kTurns) {
          requests.Set();  // ends the other thread, too
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
  requests.Set();
  for (std::thread& thread : threads) {
    thread.join();
  }
}

struct Held {
  AutoResetEvent started;
  AutoResetEvent release;
  AutoResetEvent left;
  long threadId = 0;
};

void StayUntilReleased(void* argument) {
  auto* const held = static_cast<Held*>(argument);
  held->threadId = CurrentThreadId();
  held->started.Set();
  held->release.Wait(-1);
  held->left.Set();
}

TEST(NativeThreadTest, RunsItsEntryOnceAndCanBeJoinedRepeatedly) {
  Held held;
  NativeThread thread;
  EXPECT_FALSE(thread.Valid());
  EXPECT_EQ(thread.Join(0), WaitResult::Failed);
  ASSERT_TRUE(thread.Start(StayUntilReleased, &held));
  EXPECT_TRUE(thread.Valid());
  ASSERT_EQ(held.started.Wait(kLongEnough), WaitResult::Signalled);
  EXPECT_NE(held.threadId, CurrentThreadId());
  errno = 0;
  EXPECT_FALSE(thread.Start(StayUntilReleased, &held));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(thread.Join(0), WaitResult::TimedOut);
  EXPECT_EQ(thread.Join(5), WaitResult::TimedOut);
  held.release.Set();
  EXPECT_EQ(thread.Join(-1), WaitResult::Signalled);
  EXPECT_EQ(thread.Join(0), WaitResult::Signalled);
}

TEST(NativeThreadTest, OutlivesItsObject) {
  Held held;
  {
    NativeThread thread;
    ASSERT_TRUE(thread.Start(StayUntilReleased, &held));
    ASSERT_EQ(held.started.Wait(kLongEnough), WaitResult::Signalled);
  }
  held.release.Set();
  EXPECT_EQ(held.left.Wait(kLongEnough), WaitResult::Signalled);
}

void ExitInTheMiddle(void* argument) {
  StayUntilReleased(argument);
#ifdef _WIN32
  ExitThread(0);
#else
  pthread_exit(nullptr);
#endif
}

TEST(NativeThreadTest, AWaitForAnEventEndsWithTheThread) {
  AutoResetEvent event;
  AutoResetEvent other;
  NativeThread none;
  EXPECT_EQ(none.WaitForEvent(event, 0), WaitResult::TimedOut);
  Held held;
  NativeThread thread;
  ASSERT_TRUE(thread.Start(ExitInTheMiddle, &held));
  EXPECT_EQ(thread.WaitForEvent(event, 5), WaitResult::TimedOut);
  event.Set();
  EXPECT_EQ(thread.WaitForEvent(event, -1), WaitResult::Signalled);
  std::vector<std::thread> hosts;
  for (AutoResetEvent* const awaited : {&event, &other, &event}) {
    hosts.emplace_back([&thread, awaited] {
      EXPECT_EQ(thread.WaitForEvent(*awaited, -1), WaitResult::ThreadEnded);
    });
  }
  held.release.Set();
  for (std::thread& host : hosts) {
    host.join();
  }
  EXPECT_EQ(thread.Join(0), WaitResult::Signalled);
  event.Set();
  EXPECT_EQ(thread.WaitForEvent(event, -1), WaitResult::Signalled);
  EXPECT_FALSE(ProcessEnding());
}

}  // namespace
}  // namespace Tav::Platform
