// An exception other than std::bad_alloc, which only a defect can throw, on the session thread. The
// thread survives it, hosts get their answers, and the log has it. Here memory allocation throws
// it.
#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>

#include "session/session_fixture.h"

// Sanitizers replace operator new themselves.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define TAV_HAS_FAILING_NEW 0
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define TAV_HAS_FAILING_NEW 0
#endif
#endif
#ifndef TAV_HAS_FAILING_NEW
#define TAV_HAS_FAILING_NEW 1
#endif

#if TAV_HAS_FAILING_NEW

namespace {

// The thread whose next allocation fails; 0 for none.
std::atomic<unsigned long> failingThread{0};

unsigned long ThisThread() {
  return static_cast<unsigned long>(Tav::Platform::CurrentThreadId());
}

}  // namespace

void* operator new(size_t size) {
  if (failingThread.load(std::memory_order_relaxed) != 0) {
    unsigned long self = ThisThread();
    if (failingThread.compare_exchange_strong(self, 0)) {
      throw std::out_of_range("defect");
    }
  }
  if (void* const memory = std::malloc(size != 0 ? size : 1)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}

namespace Tav::Testing {
namespace {

class FailuresTest : public SessionManagerTest {
 protected:
  FailuresTest() {
    ConfigureLogger(Receive, nullptr, true);
    Internal::logThreshold = static_cast<int>(LogLevel::Trace);
  }
  ~FailuresTest() override {
    Stop();
    FailAfter("");
  }

  // The first allocation after a line that begins with `start`, on the thread that logs it, throws.
  static void FailAfter(const char* start) {
    const std::lock_guard guard(lock_);
    start_ = start;
  }

  bool Failed() const {
    return Eventually(
        [this] { return !log_.Find("error: SM: Unexpected exception: defect").empty(); });
  }

 private:
  static void Receive(const char* line) {
    unsigned long self = ThisThread();
    const bool failing = failingThread.compare_exchange_strong(self, 0);  // not in here
    CapturedLog::Receive(line);
    if (failing) {
      failingThread = ThisThread();
    }
    const std::lock_guard guard(lock_);
    if (!start_.empty() && std::string_view(line).starts_with(start_)) {
      start_ = {};
      failingThread = ThisThread();
    }
  }

  static inline std::mutex lock_;
  static inline std::string_view start_;
};

TEST_F(FailuresTest, TheHostIsAnsweredAndTheThreadGoesOn) {
  Start();
  Log("one");
  FailAfter("SM: Commit. Processing event list");
  EXPECT_EQ(manager_->Commit(), CommitResult::NotSent);
  EXPECT_TRUE(Failed());
  EXPECT_TRUE(manager_->Running());
  Log("two");
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "one", "two"}));
}

TEST_F(FailuresTest, AnItemFailsAlone) {
  Start();
  FailAfter("SM: ProdEnv");
  ChangeProduct("Edition", "Pro");
  EXPECT_TRUE(Failed());
  Log("one");
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "one"}));
}

TEST_F(FailuresTest, ATurnFailsAlone) {
  config_.sendThreshold = 0;  // reached by anything
  Start();
  manager_->Suspend();
  Log("one");
  FinishTurn();
  FailAfter("SM: Resume");
  manager_->Resume();
  EXPECT_TRUE(Failed());
  Log("two");
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  EXPECT_EQ(Gateway::Events().back(), "two");
}

TEST_F(FailuresTest, AFailedStartStillAnswers) {
  FailAfter("SM: Loading PS timestamps...");
  Start();
  Log("one");
  manager_->Commit();
  EXPECT_TRUE(Failed());
  EXPECT_TRUE(manager_->Running());
}

TEST_F(FailuresTest, TheOtherStepsOfTheTerminationStillRun) {
  Start();
  Log("one");
  Gateway::refuse = true;
  EXPECT_EQ(manager_->Commit(), CommitResult::NotSent);
  FailAfter("SM: Processing termination");
  Stop();
  EXPECT_TRUE(Failed());
  Gateway::refuse = false;
  Run({"two"});
  const Names arrived = Gateway::Events();
  EXPECT_EQ(std::count(arrived.begin(), arrived.end(), "one"), 1);
}

}  // namespace
}  // namespace Tav::Testing

#endif  // TAV_HAS_FAILING_NEW
