// An exception other than std::bad_alloc, which only a defect can throw, on the session thread. The
// thread survives it, hosts get their answers, and the log has it. Here memory allocation throws
// it.
#include <algorithm>
#include <stdexcept>

#include "session/session_fixture.h"
#include "session/session_parts.h"
#include "support/replaced_new.h"

#if TAV_REPLACES_NEW

namespace Tav::Testing {
namespace {

// The thread whose next allocation fails; 0 for none.
std::atomic<unsigned long> failingThread{0};

unsigned long ThisThread() {
  return static_cast<unsigned long>(Platform::CurrentThreadId());
}

void FailOnce(size_t) {
  if (failingThread.load(std::memory_order_relaxed) != 0) {
    unsigned long self = ThisThread();
    if (failingThread.compare_exchange_strong(self, 0)) {
      throw std::out_of_range("defect");
    }
  }
}

class FailuresTest : public SessionManagerTest {
 protected:
  FailuresTest() {
    ConfigureLogger(Receive, nullptr, true);
    Internal::logThreshold = static_cast<int>(LogLevel::Trace);
    onAllocation = FailOnce;
  }
  ~FailuresTest() override {
    Stop();
    FailAfter("");
    onAllocation = nullptr;
  }

  enum class Times { Once, Each };

  // The first allocation after a line that begins with `start`, on the thread that logs it, throws.
  static void FailAfter(const char* start, Times times = Times::Once) {
    const std::lock_guard guard(lock_);
    start_ = start;
    times_ = times;
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
      start_ = times_ == Times::Each ? start_ : std::string_view();
      failingThread = ThisThread();
    }
  }

  static inline std::mutex lock_;
  static inline std::string_view start_;
  static inline Times times_ = Times::Once;
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

// At any of its stages.
TEST_F(FailuresTest, AStartThatFailsIsRepeatedAndLosesNothing) {
  Names expected;
  for (const char* const stage :
       {"SM: Main. Session thread is running", "SM: CheckAppStatus", "PI: (Product",
        "SM: Loading PS timestamps...", "SM: Endpt: ", "CM: Loading cache file names"}) {
    SCOPED_TRACE(stage);
    log_.Take();
    FailAfter(stage);
    Start();
    Log("one");
    EXPECT_TRUE(Failed());
    EXPECT_TRUE(Eventually([this] { return manager_->Commit() == CommitResult::Sent; }));
    Stop();
    expected.insert(expected.end(), {"$b", "one", "$e"});
    EXPECT_EQ(Gateway::Events(), expected);
  }
}

TEST_F(FailuresTest, ARunThatNeverStartsCachesEverything) {
  FailAfter("SM: CheckAppStatus", Times::Each);
  Start();
  Log("one");
  EXPECT_TRUE(Failed());
  Stop();
  EXPECT_NE(log_.Find("warning: SM: The start has failed again. Everything unsent goes"), "");
  EXPECT_EQ(Gateway::RecordCount(), 0u);
  FailAfter("");
  Start();
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "one", "$e"}));
}

// Without a journal, at the end of a run.
TEST_F(FailuresTest, WhatIsBuiltIsCachedEvenIfTheRestCannotBeBuilt) {
  {
    SessionParts run(config_, Wmi("1"));
    EXPECT_TRUE(run.Send()) << "what needs no events";
    Gateway::refuse = true;
    run.builder.SetMaxRecordSize(1);  // one event each
    run.Log("one");
    run.Log("two");
    FailAfter("SM: ProcessEventList: jsonRec added");
    run.finalDelivery.CacheUnsent();
    EXPECT_TRUE(Failed());
    run.finalDelivery.ReportLost();
    EXPECT_NE(log_.Find("warning: SM: 1 records ("), "") << "the second one";
  }
  Gateway::refuse = false;
  Run({});
  const Names arrived = Gateway::Events();
  EXPECT_EQ(std::count(arrived.begin(), arrived.end(), "one"), 1);
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

#endif  // TAV_REPLACES_NEW
