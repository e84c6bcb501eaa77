// Sends that take several slices, and what happens meanwhile.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "session/sending_fixture.h"

namespace Tav {
namespace {

using Testing::CapturedLog;
using Testing::Gateway;
using Testing::Names;
using Testing::SessionParts;
using Testing::Wmi;

class SendingTest : public Testing::SendingFixture {
 protected:
  void FillCache(const Names& events) {
    SessionParts run(config_, Wmi("1"));
    EXPECT_TRUE(run.Send());
    Build(run, events);
    run.finalDelivery.CacheUnsent();
  }

  // Passes one record to the server for each Pass.
  static void Pass() { passed_.Set(); }
  static void HoldEachRecord() {
    passed_.Wait(0);  // of an earlier test
    Gateway::gate = [] { passed_.Wait(60000); };
  }
  static inline Platform::AutoResetEvent passed_;
};

// Without slices a host would wait until the server has all records, each of which waits here.
TEST_F(SendingTest, ALongSendLetsTheHostInBetweenItsSlices) {
  const Names events = Numbered(5);
  FillCache(events);
  const size_t before = Gateway::RecordCount();
  const int attemptsBefore = Gateway::attempts;
  HoldEachRecord();
  Start();
  EXPECT_TRUE(Testing::Eventually([&] { return Gateway::attempts > attemptsBefore; }));
  Log("fresh");
  std::string pulled;
  std::thread host([&] {
    const std::unique_ptr<char, decltype(&std::free)> block(manager_->PullData(), &std::free);
    pulled = block != nullptr ? block.get() : "";
  });
  EXPECT_TRUE(Testing::Eventually([this] { return log_.Find("SM: PullData. Waiting") != ""; }));
  Platform::SleepMilliseconds(1100);  // longer than a slice, which so ends with the first record
  Pass();
  host.join();
  EXPECT_NE(pulled, "");
  EXPECT_LE(Gateway::RecordCount() - before, 1u);
  Gateway::gate = nullptr;
  Pass();
  // What the host has taken is not sent. What it has reported is sent in its turn.
  EXPECT_TRUE(Testing::Eventually([&] {
    const Names arrived = Gateway::Events();
    return arrived.size() == events.size() + 1 && arrived.back() == "fresh";
  }));
}

// A slice ends with the fourth record, so the timer expires well before the last one.
TEST_F(SendingTest, AFlushThatIsDueHappensBetweenSlices) {
  const Names events = Numbered(12);
  FillCache(events);
  const int attemptsBefore = Gateway::attempts;
  Gateway::gate = [] { Platform::SleepMilliseconds(300); };
  config_.flushInterval = 0;
  Start();
  EXPECT_TRUE(Testing::Eventually([&] { return Gateway::attempts > attemptsBefore; }));
  Log("fresh");
  EXPECT_TRUE(Testing::Eventually([&] { return Gateway::Events().size() == events.size() + 2; }));
  Stop();
  const std::vector<std::string> lines = log_.Take();
  const auto flush =
      std::ranges::find(lines, "SM: Flushing records to disk (memory flush timer expires)");
  EXPECT_NE(std::find(flush, lines.end(), "SM: Record sent"), lines.end());
}

// A host that reports during each flight must not keep one send going for ever.
TEST_F(SendingTest, ASendEndsWhileAHostReports) {
  SessionParts run(config_, Wmi("1"));
  EXPECT_TRUE(run.Send());
  struct Host final : RecordStore::Meanwhile {
    explicit Host(SessionParts& parts) : run(parts) {}
    void Serve() override {
      if (left-- > 0) {
        run.Log("more");
      }
    }
    SessionParts& run;
    int left = 50;
  } host(run);
  run.Log("first");
  run.delivery.BuildNext(true);
  run.delivery.Store().SetMeanwhile(&host);
  EXPECT_TRUE(run.delivery.SendToServer());
  run.delivery.Store().SetMeanwhile(nullptr);
  EXPECT_LT(host.left, 50);
  EXPECT_EQ(Gateway::Events(), Names{"first"});
  EXPECT_TRUE(run.Send()) << "what was reported meanwhile";
  EXPECT_EQ(Gateway::Events().back(), "more");
}

// The server has the first record and does not answer.
TEST_F(SendingTest, ASilentServerHoldsNoHostUp) {
  FillCache(Numbered(3));
  const int attemptsBefore = Gateway::attempts;
  HoldEachRecord();
  Start();
  EXPECT_TRUE(Testing::Eventually([&] { return Gateway::attempts > attemptsBefore; }));
  Log("fresh");
  manager_->GetLastActiveTime();
  manager_->GetLastActiveTime();
  EXPECT_EQ(Gateway::attempts, attemptsBefore + 1) << "answered while the record was in flight";
  manager_->Suspend();  // and what follows waits for the end of the slice
  ChangeProduct("Edition", "Pro");
  manager_->Resume();
  Gateway::gate = nullptr;
  Pass();
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  EXPECT_EQ(Gateway::Events().back(), "fresh");
}

// A Commit waits for the server, which has its record and does not answer. Questions of other hosts
// wait neither for it nor for what was queued before them; that is done later, in order.
TEST_F(SendingTest, QuestionsDoNotWaitBehindRequestsThatDo) {
  HoldEachRecord();
  Start();
  Log("one");
  std::atomic<bool> committed = false;
  std::thread committing([&] {
    EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
    committed = true;
  });
  EXPECT_TRUE(Testing::Eventually([] { return Gateway::attempts == 1; }));
  manager_->Suspend();
  ChangeProduct("Edition", "Pro");
  manager_->Resume();
  std::thread pulling([&] { std::free(manager_->PullData()); });
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(manager_->GetEndpointInstance().empty());
    EXPECT_GE(manager_->GetLastActiveTime(), 0);
  }
  EXPECT_FALSE(committed) << "answered while the record was in flight";
  EXPECT_EQ(log_.Find("SM: ProdEnv"), "");
  Gateway::gate = nullptr;
  Pass();
  committing.join();
  pulling.join();
  EXPECT_EQ(log_.Find("SM: ProdEnv"), "SM: ProdEnv");
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "one"}));
}

// The answer to the first record waits until another one is built.
TEST_F(SendingTest, AFewRecordsAreBuiltWhileOneTravels) {
  static constexpr char kBuilt[] = "SM: ProcessEventList: jsonRec added";
  constexpr int kMaxReady = 3;
  SessionParts run(config_, Wmi("1"));
  EXPECT_TRUE(run.Send());
  run.builder.SetMaxRecordSize(1);  // one event each
  const Names events = Numbered(12);
  for (const std::string& event : events) {
    run.Log(event);
  }
  run.delivery.BuildNext(true);
  log_.Take();
  static CapturedLog* log = nullptr;
  static std::atomic<bool> overlapped;
  log = &log_;
  overlapped = true;
  Gateway::gate = [] {
    overlapped = overlapped && Testing::Eventually([] { return log->Find(kBuilt) != ""; });
  };
  EXPECT_TRUE(run.delivery.SendToServer());
  EXPECT_TRUE(overlapped);
  EXPECT_EQ(Gateway::Events(), events);
  int ready = 1;
  for (const std::string& line : log_.Take()) {
    ready += line.starts_with(kBuilt) ? 1 : line == "SM: Record sent" ? -1 : 0;
    EXPECT_LE(ready, kMaxReady);
  }
  EXPECT_EQ(ready, 0);
}

// Otherwise a request of a host would wait until all records of a burst are built.
TEST_F(SendingTest, ATurnBuildsOneRecordOfABurst) {
  SessionParts run(config_, Wmi("1"));
  EXPECT_TRUE(run.Send());
  run.builder.SetMaxRecordSize(1);
  for (const std::string& event : Numbered(3)) {
    run.Log(event);
  }
  for (size_t turn = 1; turn <= 3; ++turn) {
    EXPECT_TRUE(run.delivery.Busy());
    run.delivery.IsSendDue(true);
    EXPECT_EQ(run.delivery.Store().InMemory().Count(), turn);
  }
  EXPECT_FALSE(run.delivery.Busy());
}

TEST_F(SendingTest, PushedRecordsReachTheCacheAfterTheFlushTime) {
  config_.flushInterval = 1;
  Start();
  manager_->Suspend();
  Log("pushed");
  const std::unique_ptr<char, decltype(&std::free)> block(manager_->PullData(), &std::free);
  ASSERT_NE(block, nullptr);
  FinishTurn();
  manager_->PushData(block.get());
  EXPECT_TRUE(Testing::Eventually([this] { return CachedBytes() > 0; }));
}

// Other processes could not send the rest of the file.
TEST_F(SendingTest, WhatPullDataHasLoadedGoesBackAfterTheFlushTime) {
  FillCache(Numbered(2));
  const uintmax_t both = CachedBytes();
  config_.flushInterval = 1;
  config_.sendInterval = -1;
  config_.noImpliedRecords = true;
  Start();
  const std::unique_ptr<char, decltype(&std::free)> block(manager_->PullData(), &std::free);
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(Testing::Eventually([&] {
    const uintmax_t left = CachedBytes();
    return left > 0 && left < both;
  }));
}

}  // namespace
}  // namespace Tav
