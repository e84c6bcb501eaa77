#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "session/session_fixture.h"

namespace Tav {
namespace {

using Testing::Gateway;
using Testing::Names;
using Testing::SessionManagerTest;

TEST_F(SessionManagerTest, TheImpliedSessionSurroundsWhatIsLogged) {
  Start();
  Log("one");
  manager_->Log(CreateEvent(HandleKind::Event, "own", Testing::kSession));
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "one", "own"}));
  Log("two");
  Stop();
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "one", "own", "two", "$e"}));
  EXPECT_NE(log_.Find("SM: Implied start record. Session ID: "), "");
  EXPECT_NE(log_.Find("SM: Implied stop record. Session ID: "), "");
}

TEST_F(SessionManagerTest, WithoutImpliedRecordsOnlyReportedEventsPass) {
  config_.noImpliedRecords = true;
  Start();
  Log("event");
  for (const auto kind : {HandleKind::Marker, HandleKind::Command, HandleKind::Error}) {
    manager_->Log(CreateEvent(kind, std::to_string(static_cast<int>(kind)), {}));
  }
  Stop();
  EXPECT_EQ(Gateway::Events(), (Names{"event", "4", "5"}));
}

TEST_F(SessionManagerTest, AnOptedOutProductSendsNothingElse) {
  config_.optOut = true;
  config_.productValues = std::make_unique<PendingProductValues>();
  (*config_.productValues)["std-OptOut"].value = EnvValue::String("true");
  (*config_.productValues)["Secret"].value = EnvValue::String("x");
  Start();
  Log("event");
  ChangeProduct("Secret", "y");
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  ChangeProduct("Secret", "z");
  Stop();
  EXPECT_EQ(Gateway::Events(), Names{});
  ASSERT_EQ(Gateway::RecordCount(), 1u);
  EXPECT_EQ(Gateway::ProductValue(0, "std-OptOut"), "true");
  EXPECT_EQ(Gateway::ProductValue(0, "Secret"), "");
}

TEST_F(SessionManagerTest, ARefusingGatewayLosesNothing) {
  Start();
  Log("one");
  Gateway::refuse = true;
  EXPECT_EQ(manager_->Commit(), CommitResult::NotSent);
  EXPECT_NE(log_.Find("warning: SM: Server send failure #1. New waitTime = "), "");
  Log("two");
  EXPECT_EQ(manager_->Commit(), CommitResult::NotSent);
  EXPECT_EQ(Gateway::RecordCount(), 0u);
  Gateway::refuse = false;
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "one", "two"}));
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  EXPECT_NE(log_.Find("SM: SendToServer: nothing to send"), "");
  Stop();
}

TEST_F(SessionManagerTest, AnEventIsSentByItselfAfterThePause) {
  Start();
  Log("soon");
  Testing::Eventually([] { return Gateway::Events().size() >= 2; });
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "soon"}));
}

TEST_F(SessionManagerTest, ASuspendedEngineSendsOnlyWhenTold) {
  config_.sendThreshold = 0;  // reached by anything, whatever the timers say
  Start();
  manager_->Suspend();
  Log("held");
  FinishTurn();
  EXPECT_EQ(Gateway::Events(), Names{});
  manager_->Resume();
  EXPECT_TRUE(Testing::Eventually([] { return Gateway::Events() == Names{"$b", "held"}; }));
}

TEST_F(SessionManagerTest, RecordsGoOutAndComeBackAsDataBlocks) {
  Start();
  manager_->Suspend();
  Log("carried");
  const std::unique_ptr<char, decltype(&std::free)> block(manager_->PullData(), &std::free);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(manager_->PullData(), nullptr);
  EXPECT_EQ(Gateway::Events(), Names{});
  manager_->PushData("not a record");
  EXPECT_NE(log_.Find("warning: SM: PushData: rejecting data that is no record (Bad base-64"), "");
  manager_->PushData(block.get());
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "carried"}));
}

TEST_F(SessionManagerTest, ChangedProductValuesFollowIncrementally) {
  config_.productValues = std::make_unique<PendingProductValues>();
  (*config_.productValues)["Edition"].value = EnvValue::String("Pro");
  Start();
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  ChangeProduct("Edition", "Ultra");
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  ASSERT_EQ(Gateway::RecordCount(), 2u);
  EXPECT_EQ(Gateway::ProductValue(0, "Edition"), "Pro");
  EXPECT_EQ(Gateway::ProductValue(0, "std-Incremental"), "false");
  EXPECT_EQ(Gateway::ProductValue(1, "Edition"), "Ultra");
  EXPECT_EQ(Gateway::ProductValue(1, "std-Incremental"), "true");
}

TEST_F(SessionManagerTest, ManyHostsThatAskAtOnceAreAllAnswered) {
  Start();
  std::vector<std::thread> hosts;
  for (int host = 0; host < 4; ++host) {
    hosts.emplace_back([this] {
      for (int i = 0; i < 50; ++i) {
        Log("ask");
        EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
        manager_->GetLastServerAccessTime();
      }
    });
  }
  for (std::thread& host : hosts) {
    host.join();
  }
  EXPECT_EQ(Gateway::Events().size(), 1u + 4 * 50);
  EXPECT_GT(manager_->GetLastServerAccessTime(), 19000);
}

TEST_F(SessionManagerTest, ACustomerWithoutAUserGetsADefaultUser) {
  config_.customerId = "customer";
  Start();
  Stop();
  EXPECT_EQ(log_.Find("SM: Customer ID was provided without User ID."),
            "SM: Customer ID was provided without User ID. Generated default User ID: [32 bytes]");
}

}  // namespace
}  // namespace Tav
