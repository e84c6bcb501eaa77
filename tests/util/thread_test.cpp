#include "util/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>

#include "platform/clock.h"
#include "support/captured_log.h"

namespace Tav {
namespace {

using Testing::CapturedLog;

// Tells when it is deleted; its body does what the test says.
class Worker final : public Thread {
 public:
  Worker(void (*body)(Worker&), std::atomic<bool>& deleted) : body_(body), deleted_(deleted) {}
  void SetDelay(int milliseconds) { waitDelay_ = milliseconds; }

 protected:
  ~Worker() override { deleted_ = true; }
  void Main() override { body_(*this); }

 private:
  void (*body_)(Worker&);
  std::atomic<bool>& deleted_;
};

class ThreadTest : public testing::Test {
 protected:
  Worker* Make(void (*body)(Worker&)) { return new Worker(body, deleted_); }
  // Waits for the deletion by whoever lets go last.
  bool DeletedSoon() {
    return Soon([this] { return deleted_.load(); });
  }
  static bool NoneRunsSoon() {
    return Soon([] { return !Thread::AnyRunning(); });
  }

  template <typename Condition>
  static bool Soon(Condition condition) {
    const int64_t end = Platform::MonotonicMilliseconds() + 10000;
    while (!condition() && Platform::MonotonicMilliseconds() < end) {
      Platform::SleepMilliseconds(1);
    }
    return condition();
  }

  CapturedLog log_;
  std::atomic<bool> deleted_{false};
};

TEST_F(ThreadTest, TheLastOfCreatorAndThreadDeletesTheObject) {
  Worker* worker = Make([](Worker&) {});
  ASSERT_TRUE(worker->Run());
  worker->Join(-1);
  EXPECT_TRUE(worker->Ended());
  EXPECT_FALSE(worker->Running());
  EXPECT_FALSE(deleted_);
  worker->Release();
  EXPECT_TRUE(deleted_);

  deleted_ = false;
  worker = Make([](Worker& self) { self.Wait(-1, false); });
  ASSERT_TRUE(worker->Run());
  worker->Join(0);
  EXPECT_FALSE(worker->Ended());
  worker->Release();
  EXPECT_TRUE(Thread::AnyRunning());  // although nobody holds it any more
  worker->Signal();                   // through the reference that the thread holds
  EXPECT_TRUE(DeletedSoon());
  EXPECT_TRUE(NoneRunsSoon());
  EXPECT_EQ(log_.Find("error:"), "");
}

TEST_F(ThreadTest, AnExceptionEndsTheThreadAndReleasesWhoWaits) {
  Worker* const worker = Make([](Worker&) { throw std::runtime_error("body"); });
  ASSERT_TRUE(worker->Run());
  worker->WaitReady(-1);
  worker->Join(-1);
  EXPECT_EQ(log_.Find("error:"), "error: TH: Exception in thread caught");
  EXPECT_FALSE(worker->Running());
  worker->Release();
}

TEST_F(ThreadTest, ReadySignalsAreKeptAndTimeOutsReported) {
  Worker* const worker = Make([](Worker&) {});
  worker->WaitReady(0);
  EXPECT_NE(log_.Find("error: TH: WaitReady. ***ERROR*** timed out. Pid: "), "");
  worker->WakeReady();
  log_.Take();
  worker->SetDelay(20);
  const int64_t start = Platform::MonotonicMilliseconds();
  worker->WaitReady(-1);
  EXPECT_GE(Platform::MonotonicMilliseconds() - start, 19);
  EXPECT_NE(log_.Find("TH: WaitReady with waitDelay 20 ms. Sleeping... Pid: "), "");
  EXPECT_NE(log_.Find("TH: WaitReady. Waiting for -1 ms. Pid: "), "");
  EXPECT_NE(log_.Find("TH: WaitReady. Waiting done. Pid: "), "");
  worker->Release();
  EXPECT_NE(log_.Find("TH: Inside thread destructor. Pid: "), "");
}

TEST_F(ThreadTest, DeletingWhileTheThreadHoldsItsReferenceIsReported) {
  struct Early final : Thread {
    void Main() override {}
  };
  {
    Early early;
  }  // the creator's reference was never dropped
  EXPECT_EQ(log_.Find("error:").rfind(
                "error: TH: Thread reference count should be zero, not 1. Pid: ", 0),
            0u);
}

}  // namespace
}  // namespace Tav
