// Product values are sent until the server has accepted the very record that carries them.
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "session/session_parts.h"

namespace Tav {
namespace {

using Testing::Gateway;
using Testing::kEdition;
using Testing::SessionParts;
using Testing::Wmi;

// A run whose product was sent, and has changed since.
struct ChangedRun : SessionParts {
  ChangedRun(LibraryConfig& config, const char* edition) : SessionParts(config, Wmi("1")) {
    EXPECT_TRUE(Send());
    Change(edition);
  }
};

class UnsentProductTest : public Testing::SessionManagerTest {
 protected:
  // Whether the last record carries the product environment with this edition.
  static bool LastCarries(const char* edition) {
    const size_t last = Gateway::RecordCount() - 1;
    return Gateway::HasProductEnvironment(last) && Gateway::ProductValue(last, kEdition) == edition;
  }
  // Whether the next run finds this edition stored as sent.
  bool Stored(const char* edition) {
    SetProductValue(kEdition, edition);
    return !SessionParts(config_, Wmi("1")).app.Changes().RecordDue();
  }
  // The records that have arrived with this edition.
  static int Copies(const char* edition) {
    int copies = 0;
    for (size_t i = 0; i < Gateway::RecordCount(); ++i) {
      copies += Gateway::ProductValue(i, kEdition) == edition ? 1 : 0;
    }
    return copies;
  }
};

TEST_F(UnsentProductTest, AChangeThatWasPulledAndNotSentIsSentByTheNextRun) {
  Start();
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  manager_->Suspend();
  ChangeProduct(kEdition, "Ultra");
  const std::unique_ptr<char, decltype(&std::free)> pulled(manager_->PullData(), &std::free);
  ASSERT_NE(pulled, nullptr);
  manager_->PushData(pulled.get());  // the gateway accepts it, but as a record like any other
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  Stop();
  SetProductValue(kEdition, "Ultra");
  Run({});
  EXPECT_EQ(Copies("Ultra"), 2);
}

TEST_F(UnsentProductTest, AChangeWhoseCacheFileIsGoneGoesWithTheNextRecord) {
  config_.flushInterval = 0;
  Start();
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  Gateway::refuse = true;
  ChangeProduct(kEdition, "Ultra");
  EXPECT_EQ(manager_->Commit(), CommitResult::NotSent);
  EXPECT_TRUE(Testing::Eventually([this] { return std::filesystem::exists(CachePath(1)); }));
  FinishTurn();
  EXPECT_TRUE(std::filesystem::remove(CachePath(1)));
  Gateway::refuse = false;
  Log("one");
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  EXPECT_EQ(Copies("Ultra"), 1);
}

TEST_F(UnsentProductTest, AnOutageLeavesTwoCopiesOfAChangeOnTheDisk) {
  ChangedRun run(config_, "Ultra");
  Gateway::refuse = true;
  for (int i = 0; i < 5; ++i) {
    run.Log("event");
    EXPECT_FALSE(run.Send());
    run.Flush();
    run.Flush();  // without events there is nothing to build
  }
  Gateway::refuse = false;
  EXPECT_TRUE(run.Send());
  EXPECT_EQ(Copies("Ultra"), 2);
  EXPECT_EQ(Gateway::RecordCount(), 1u + 5);
  run.Log("after");
  EXPECT_TRUE(run.Send());
  EXPECT_EQ(Copies("Ultra"), 2);
}

TEST_F(UnsentProductTest, AChangeIsSentAlthoughEachRecordGoesThroughTheCache) {
  ChangedRun run(config_, "Ultra");
  for (int i = 0; i < 5; ++i) {
    run.Log("event");
    run.Flush();
    EXPECT_TRUE(run.Send());
    EXPECT_EQ(Copies("Ultra"), 1);
  }
  EXPECT_TRUE(Stored("Ultra"));
}

TEST_F(UnsentProductTest, AChangeThatAnotherProcessSendsFromTheCacheIsSentAgain) {
  ChangedRun run(config_, "Ultra");
  run.Flush();
  EXPECT_TRUE(SessionParts(config_, Wmi("1")).Send());
  EXPECT_EQ(Copies("Ultra"), 1);
  run.Log("event");
  EXPECT_TRUE(run.Send());
  EXPECT_EQ(Copies("Ultra"), 2);
}

TEST_F(UnsentProductTest, OnlyTheRecordThatCarriesAChangeCounts) {
  ChangedRun run(config_, "Pro");
  run.delivery.ProcessEventList(true);
  run.Log("behind");
  run.delivery.ProcessEventList(true);
  // The server accepts the change and refuses the record behind it.
  Gateway::capacity = 2;
  EXPECT_FALSE(run.delivery.SendToServer());
  EXPECT_TRUE(Stored("Pro"));

  // The change that follows a built record is in none.
  Gateway::capacity = SIZE_MAX;
  run.Change("Ultra");
  EXPECT_TRUE(run.delivery.SendToServer());
  EXPECT_TRUE(run.app.Changes().RecordDue());
  EXPECT_TRUE(run.Send());
  EXPECT_TRUE(LastCarries("Ultra"));
}

TEST_F(UnsentProductTest, ARemovalDoesNotStoreValuesThatWereNotSent) {
  SessionParts run(config_, Wmi("1"));
  const auto put = [&](const char* elements) {
    run.Change("Plugins", JsonPtr(json_loads(elements, 0, nullptr)));
  };
  put(R"({"a": "1", "b": "1"})");
  EXPECT_TRUE(run.Send());
  run.Change("Ultra");
  put(R"({"a": "1"})");
  EXPECT_EQ(folder_.Contents("TavData").find("Plugins.b"), std::string::npos);
  EXPECT_NE(folder_.Contents("TavData").find("Plugins.a"), std::string::npos);
  EXPECT_EQ(folder_.Contents("TavData").find("Ultra"), std::string::npos);
}

}  // namespace
}  // namespace Tav
