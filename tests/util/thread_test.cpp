#include "util/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>

#include "support/captured_log.h"
#include "support/eventually.h"

namespace Tav {
namespace {

using Testing::CapturedLog;
using Testing::Eventually;

// Runs a test's function and reports its own deletion.
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
  CapturedLog log_;
  std::atomic<bool> deleted_{false};
};

TEST_F(ThreadTest, LastReferenceDeletesTheObject) {
  Worker* worker = Make([](Worker&) {});
  ASSERT_TRUE(worker->Run());
  worker->Join(-1);
  EXPECT_TRUE(worker->Ended());
  EXPECT_FALSE(worker->Running());
  EXPECT_FALSE(deleted_);
  worker->Release();
  EXPECT_TRUE(deleted_);

  deleted_ = false;
  worker = Make([](Worker& self) { self.Wait(-1, Thread::WaitFor::Work); });
  ASSERT_TRUE(worker->Run());
  worker->Join(0);
  EXPECT_FALSE(worker->Ended());
  worker->Release();
  EXPECT_TRUE(Thread::AnyRunning()) << "a detached thread counts";
  worker->Signal();  // valid: the thread holds a reference
  EXPECT_TRUE(Eventually([this] { return deleted_.load(); }));
  EXPECT_TRUE(Eventually([] { return !Thread::AnyRunning(); }));
  EXPECT_EQ(log_.Find("error:"), "");
}

TEST_F(ThreadTest, ExceptionEndsTheThreadAndReleasesTheWaitingHost) {
  Worker* const worker = Make([](Worker&) { throw std::runtime_error("body"); });
  ASSERT_TRUE(worker->Run());
  worker->WaitReady(-1);
  worker->Join(-1);
  EXPECT_EQ(log_.Find("error:"), "error: TH: Exception in thread caught");
  EXPECT_FALSE(worker->Running());
  worker->Release();
}

TEST_F(ThreadTest, WaitReadyTakesAnEarlierSignalAndReportsATimeOut) {
  Worker* const worker = Make([](Worker&) {});
  worker->WaitReady(0);
  EXPECT_NE(log_.Find("error: TH: WaitReady. ***ERROR*** timed out. Pid: "), "");
  worker->WakeReady();
  log_.Take();
  worker->SetDelay(50);
  const auto start = std::chrono::steady_clock::now();
  worker->WaitReady(-1);
  // A sleep may end a step of the system's clock early.
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50 - 16));
  EXPECT_NE(log_.Find("TH: WaitReady with waitDelay 50 ms. Sleeping... Pid: "), "");
  EXPECT_NE(log_.Find("TH: WaitReady. Waiting for -1 ms. Pid: "), "");
  EXPECT_NE(log_.Find("TH: WaitReady. Waiting done. Pid: "), "");
  worker->Release();
  EXPECT_NE(log_.Find("TH: Inside thread destructor. Pid: "), "");
}

TEST_F(ThreadTest, DeletionWithAReferenceLeftIsReported) {
  struct Early final : Thread {
    void Main() override {}
  };
  {
    Early early;
  }  // without Release
  EXPECT_TRUE(log_.Find("error:").starts_with(
      "error: TH: Thread reference count should be zero, not 1. Pid: "));
}

}  // namespace
}  // namespace Tav
