#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <memory>

#include "platform/process.h"

namespace Tav::Platform {
namespace {

constexpr int kLongEnough = 20000;

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

TEST(NativeThread, RunsItsEntryAndCanBeJoinedMoreThanOnce) {
  Held held;
  NativeThread thread;
  EXPECT_FALSE(thread.Valid());
  EXPECT_EQ(thread.Join(0), WaitResult::Failed);
  ASSERT_TRUE(thread.Start(StayUntilReleased, &held));
  EXPECT_TRUE(thread.Valid());
  ASSERT_EQ(held.started.Wait(kLongEnough), WaitResult::Signalled);
  EXPECT_NE(held.threadId, CurrentThreadId());
  EXPECT_EQ(thread.Join(0), WaitResult::TimedOut);
  EXPECT_EQ(thread.Join(5), WaitResult::TimedOut);
  held.release.Set();
  EXPECT_EQ(thread.Join(-1), WaitResult::Signalled);
  EXPECT_EQ(thread.Join(0), WaitResult::Signalled);
}

TEST(NativeThread, OutlivesItsHandle) {
  Held held;
  {
    NativeThread thread;
    ASSERT_TRUE(thread.Start(StayUntilReleased, &held));
    ASSERT_EQ(held.started.Wait(kLongEnough), WaitResult::Signalled);
  }
  held.release.Set();
  EXPECT_EQ(held.left.Wait(kLongEnough), WaitResult::Signalled);
}

TEST(NativeThread, SecondStartFailsAndSaysWhy) {
  Held held;
  NativeThread thread;
  ASSERT_TRUE(thread.Start(StayUntilReleased, &held));
  errno = 0;
  EXPECT_FALSE(thread.Start(StayUntilReleased, &held));
  EXPECT_EQ(errno, EINVAL);
  held.release.Set();
  EXPECT_EQ(thread.Join(kLongEnough), WaitResult::Signalled);
}

}  // namespace
}  // namespace Tav::Platform
