#include "transport/threaded_data_sender.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "platform/clock.h"
#include "platform/thread.h"
#include "support/captured_log.h"
#include "support/loopback_server.h"
#include "transport/http_data_sender.h"

namespace Tav {
namespace {

using Testing::CapturedLog;
using Calls = std::vector<std::string>;

int64_t Now() {
  return Platform::MonotonicMilliseconds();
}

// Controls and records the calls of the wrapped senders of one test.
class Stage {
 public:
  // The next call of `name` waits until Proceed.
  void HoldAt(const std::string& name) {
    const std::lock_guard guard(mutex_);
    held_ = name;
  }
  void AwaitArrival() { arrived_.Wait(-1); }
  void Proceed() { proceed_.Set(); }

  void Enter(const std::string& name, const std::string& details = "") {
    bool hold = false;
    {
      const std::lock_guard guard(mutex_);
      calls_.push_back(name + details);
      thread_ = std::this_thread::get_id();
      hold = held_ == name;
      held_ = hold ? "nowhere" : held_;
    }
    if (hold) {
      arrived_.Set();
      proceed_.Wait(-1);
    }
  }

  Calls Take() {
    const std::lock_guard guard(mutex_);
    return std::exchange(calls_, {});
  }
  // The thread of the last call.
  std::thread::id ThreadId() {
    const std::lock_guard guard(mutex_);
    return thread_;
  }

  std::atomic<int> limit{0};
  std::atomic<int> made{0};

 private:
  Platform::AutoResetEvent arrived_;
  Platform::AutoResetEvent proceed_;
  std::mutex mutex_;
  std::string held_ = "nowhere";
  Calls calls_;
  std::thread::id thread_;
};

class StagedSender final : public DataSender {
 public:
  explicit StagedSender(Stage& stage) : stage_(stage) { ++stage.made; }
  ~StagedSender() override { stage_.Enter("gone"); }

  int32_t Send(const void* body, size_t length, bool closeConnection) override {
    stage_.Enter("send");
    // Read after the hold, when the caller may have freed its copy.
    const std::string text(static_cast<const char*>(body), length);
    stage_.Enter(text, closeConnection ? "." : "");
    if (text == "throw") {
      throw std::runtime_error(text);
    }
    return text == "bad" ? 7 : 0;
  }
  int32_t Open() override {
    stage_.Enter("open");
    return 0;
  }
  void Close() override { stage_.Enter("close"); }
  std::string Fetch() override {
    stage_.Enter("fetch");
    return "fetched";
  }
  void LimitWaits(int milliseconds) override { stage_.limit = milliseconds; }
  SendOutcome LastOutcome() const override { return OutcomeOfStatus(413, 0); }

 private:
  Stage& stage_;
};

class ThreadedDataSenderTest : public testing::Test {
 protected:
  ~ThreadedDataSenderTest() override {
    sender.reset();
    EXPECT_TRUE(NoThreadIsLeftSoon());
  }

  static bool NoThreadIsLeftSoon() {
    const int64_t end = Now() + 10000;
    while (Thread::AnyRunning() && Now() < end) {
      Platform::SleepMilliseconds(1);
    }
    return !Thread::AnyRunning();
  }

  void Make(CallLimits limits = {}) {
    sender = std::make_unique<ThreadedDataSender>(
        [this] { return std::make_unique<StagedSender>(stage); }, limits);
  }

  // From memory that is freed when the call has returned.
  int32_t Send(const std::string& text, bool closeConnection = false) {
    const auto body = std::make_unique<char[]>(text.size());
    std::ranges::copy(text, body.get());
    return sender->Send(body.get(), text.size(), closeConnection);
  }

  // Since the last call.
  int64_t Warnings() {
    const Calls lines = log.Take();
    return std::ranges::count(lines, "warning: Data sender did not answer in time. Giving it up");
  }

  CapturedLog log;
  Stage stage;
  std::unique_ptr<ThreadedDataSender> sender;
};

TEST_F(ThreadedDataSenderTest, CallsRunInOrderOnOneThreadUntilClose) {
  Make();
  EXPECT_EQ(sender->Send("x", 1, false), 1);  // not open
  EXPECT_EQ(sender->Open(), 0);
  const std::thread::id first = stage.ThreadId();
  EXPECT_NE(first, std::this_thread::get_id());
  EXPECT_EQ(Send("good"), 0);
  EXPECT_EQ(Send("bad", true), 7);
  EXPECT_EQ(sender->LastOutcome().status, 413);
  EXPECT_EQ(Send("throw"), 1);
  EXPECT_EQ(sender->LastOutcome().status, 0);
  EXPECT_EQ(sender->Send(nullptr, 0, false), 0);
  EXPECT_EQ(sender->Fetch(), "fetched");
  EXPECT_EQ(stage.ThreadId(), first);
  EXPECT_EQ(stage.limit, CallLimits().call);
  sender->Close();
  EXPECT_FALSE(Thread::AnyRunning());
  sender->Close();
  EXPECT_EQ(stage.Take(), (Calls{"open", "send", "good", "send", "bad.", "send", "throw", "send",
                                 "", "fetch", "close"}));

  // The sender, with its state such as a file it has begun, outlives its thread.
  EXPECT_EQ(sender->Open(), 0);
  sender->Close();
  EXPECT_EQ(sender->Fetch(), "fetched");
  EXPECT_FALSE(Thread::AnyRunning());
  EXPECT_EQ(stage.made, 1);
  EXPECT_EQ(stage.Take(), (Calls{"open", "close", "fetch", "close"}));
  EXPECT_EQ(Warnings(), 0);
}

TEST_F(ThreadedDataSenderTest, DeadlineFromAnotherThreadAbandonsTheRunningCall) {
  Make();
  EXPECT_EQ(sender->Open(), 0);
  stage.HoldAt("send");
  std::thread host([this] {
    stage.AwaitArrival();
    sender->LimitTo(Now() + 60000);
    sender->LimitTo(ThreadedDataSender::kNoDeadline);
    sender->LimitTo(Now() + 20);
  });
  const std::string body(1000000, 'b');
  EXPECT_EQ(Send(body), 1);
  host.join();
  EXPECT_EQ(Warnings(), 1);
  EXPECT_EQ(Send("later"), 1);
  EXPECT_EQ(sender->Open(), 1);
  EXPECT_EQ(sender->Fetch(), "");
  sender->Close();
  EXPECT_EQ(stage.Take(), (Calls{"open", "send"}));

  // The next Open makes a new sender.
  sender->LimitTo(ThreadedDataSender::kNoDeadline);
  EXPECT_EQ(Send("not open"), 1);
  EXPECT_EQ(sender->Open(), 0);
  EXPECT_EQ(Send("x"), 0);
  sender.reset();
  EXPECT_EQ(stage.Take(), (Calls{"open", "send", "x", "close", "gone"}));
  EXPECT_EQ(stage.made, 2);
  EXPECT_EQ(Warnings(), 0);

  // The detached thread finishes by itself.
  EXPECT_TRUE(Thread::AnyRunning());
  stage.Proceed();
  EXPECT_TRUE(NoThreadIsLeftSoon());
  EXPECT_NE(stage.ThreadId(), std::this_thread::get_id());
  EXPECT_EQ(stage.Take(), (Calls{body, "close", "gone"}));
}

TEST_F(ThreadedDataSenderTest, CallTimesOutWithoutADeadline) {
  Make({.call = 100});
  stage.HoldAt("open");
  EXPECT_EQ(sender->Open(), 1);
  stage.Proceed();
}

TEST_F(ThreadedDataSenderTest, DeadlineLimitsTheWaitsOfCallsUntilItIsRemoved) {
  Make();
  sender->LimitTo(Now() + 20000);
  EXPECT_EQ(sender->Open(), 0);
  EXPECT_GT(stage.limit, 0);
  EXPECT_LE(stage.limit, 20000);
  sender->LimitTo(std::numeric_limits<int64_t>::min());
  EXPECT_EQ(Send("x"), 1);
  sender->LimitTo(ThreadedDataSender::kNoDeadline);
  EXPECT_EQ(Send("x"), 0);
  EXPECT_EQ(stage.limit, CallLimits().call);
}

TEST_F(ThreadedDataSenderTest, CallWithoutProgressIsAbandonedLongBeforeTheDeadline) {
  constexpr int kMaxIdle = 200;
  Make();
  EXPECT_EQ(sender->Open(), 0);
  stage.HoldAt("send");
  std::thread host([this] {
    stage.AwaitArrival();
    Platform::SleepMilliseconds(2 * kMaxIdle);  // so that it is stuck already
    sender->LimitTo(Now() + 60000, kMaxIdle);
  });
  const int64_t start = Now();
  EXPECT_EQ(Send("x"), 1);
  EXPECT_GE(Now() - start, kMaxIdle);  // not abandoned before the limit was set
  EXPECT_LT(Now() - start, 30000);
  host.join();
  EXPECT_EQ(Warnings(), 1);
  EXPECT_EQ(sender->LastOutcome().status, 0);
  stage.Proceed();
}

TEST_F(ThreadedDataSenderTest, CloseEndsAtTheDeadline) {
  Make({.close = 60000});
  EXPECT_EQ(sender->Open(), 0);
  stage.HoldAt("close");
  std::thread host([this] {
    stage.AwaitArrival();
    sender->LimitTo(Now());
  });
  const int64_t start = Now();
  sender->Close();
  EXPECT_LT(Now() - start, 30000);
  host.join();
  EXPECT_EQ(Warnings(), 1);
  stage.Proceed();
}

TEST_F(ThreadedDataSenderTest, DeadlineMayComeAtAnyMoment) {
  constexpr int kRounds = 100;
  // The deadline comes before Open, after Close, or between.
  const auto pause = [](int steps) {
    for (; steps > 0; --steps) {
      std::this_thread::yield();
    }
  };
  Make();
  // Events, because on a loaded machine a thread that spins keeps the others from going on.
  Platform::AutoResetEvent begun;
  Platform::AutoResetEvent limited;
  std::thread host([&] {
    for (int i = 1; i <= kRounds; ++i) {
      begun.Wait(-1);
      pause(i % 10);
      sender->LimitTo(Now());
      limited.Set();
    }
  });
  int delivered = 0;
  for (int i = 1; i <= kRounds; ++i) {
    sender->LimitTo(ThreadedDataSender::kNoDeadline);
    begun.Set();
    pause(i / 10);
    if (sender->Open() == 0) {
      delivered += Send("x") == 0 ? 1 : 0;
    }
    sender->Close();
    limited.Wait(-1);
  }
  host.join();
  const auto warnings = Warnings();
  sender.reset();
  EXPECT_TRUE(NoThreadIsLeftSoon());
  // All that was reported as delivered arrived; an abandoned call may have arrived.
  const Calls calls = stage.Take();
  EXPECT_GE(std::ranges::count(calls, "x"), delivered);
  EXPECT_LE(std::ranges::count(calls, "x"), delivered + warnings);
  EXPECT_EQ(std::ranges::count(calls, "gone"), stage.made);
  EXPECT_LE(stage.made, 1 + warnings);
}

TEST_F(ThreadedDataSenderTest, SilentServerBlocksTheCallerUntilTheDeadlineOnly) {
  auto server = std::make_unique<Testing::LoopbackServer>();
  server->EnqueueSilence();
  sender =
      std::make_unique<ThreadedDataSender>([url = server->Url()] { return CreateDataSender(url); });
  EXPECT_EQ(sender->Open(), 0);
  std::thread host([&] {
    for (const int64_t end = Now() + 20000; server->Requests().empty() && Now() < end;) {
      Platform::SleepMilliseconds(1);
    }
    sender->LimitTo(Now());
  });
  const int64_t start = Now();
  EXPECT_EQ(Send("body"), 1);
  EXPECT_LT(Now() - start, 25000) << "30 seconds without a deadline";
  host.join();
  EXPECT_EQ(Warnings(), 1);
  server.reset();  // closes the connection and so ends the abandoned call
}

}  // namespace
}  // namespace Tav
