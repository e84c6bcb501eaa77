#include "gateway/store/sqlite_store.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>

#include "gateway/expected_answers.h"
#include "gateway/store/open_store.h"
#include "gateway/store_fixture.h"
#include "support/temp_folder.h"

namespace Gateway {
namespace {

class SqliteStoreTest : public testing::Test {
 protected:
  std::string Path() const { return folder_.Path("tav.db"); }
  SqliteOptions Options() const {
    SqliteOptions options;
    options.path = Path();
    return options;
  }
  std::unique_ptr<SqliteStore> Open() const { return std::make_unique<SqliteStore>(Options()); }
  std::string OpenError() const {
    std::string error;
    EXPECT_EQ(OpenStore({Path(), 0}, error), nullptr);
    return error.substr(error.find(": ") + 2);
  }

  Tav::Testing::TempFolder folder_;
};

TEST_F(SqliteStoreTest, CountsARecordThatComesTwiceOnceAcrossRestarts) {
  for (const AddOutcome expected : {AddOutcome::Stored, AddOutcome::Double}) {
    const auto store = Open();
    EXPECT_EQ(AddText(*store, RecordText("a")), expected);
    EXPECT_EQ(AddText(*store, RecordText("a")), AddOutcome::Double);
    EXPECT_EQ(RowsFor(*store, "names", kWriter), R"([["Open","event",1]])");
    EXPECT_EQ(RowsFor(*store, "products", {}),
              R"([["Quendel Writer","1.4",1793610000000,1793610000000,1,1]])");
  }
}

TEST_F(SqliteStoreTest, AnswersInSpiteOfHugeCountersAndDeepValues) {
  const auto store = Open();
  const std::string deep = std::string(2000, '[') + std::string(2000, ']');
  const std::string huge = R"("clicks":9223372036854775807)";
  AddAll(*store, {RecordText("a", {.name = "menu", .properties = huge}),
                  RecordText("b", {.name = "menu", .properties = huge}),
                  RecordText("c", {.properties = "\"deep\":" + deep})});
  EXPECT_EQ(RowsFor(*store, "counters", kWriter), R"([["menu/clicks",18446744073709551616]])");
  Database database(Path(), Database::Access::Read, 1000);
  EXPECT_EQ(database.Integer("SELECT total > 1e19 FROM counters_view"), 1);
  EXPECT_EQ(RowsFor(*store, "properties", {{"product", "Quendel Writer"}, {"name", "Open"}}),
            R"([["deep",1,0]])");
}

TEST_F(SqliteStoreTest, AnswersAsWrittenDown) {
  const auto store = Open();
#ifndef _WIN32  // where a new file has the permissions of its folder
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(Path()).permissions(), perms::owner_read | perms::owner_write);
#endif
  AddAnalysisRecords(*store);
  CheckAnswers(*store);
}

TEST_F(SqliteStoreTest, InMemoryItAnswersTheSameAndKeepsNothing) {
  std::string error;
  const auto store = OpenStore({kInMemory, 1}, error);
  ASSERT_NE(store, nullptr) << error;
  const auto other = OpenStore({kInMemory, 0}, error);
  ASSERT_NE(other, nullptr) << error;
  EXPECT_EQ(AddText(*store, RecordText("a")), AddOutcome::Expired);
  AddAnalysisRecords(*other);
  CheckAnswers(*other);
  EXPECT_EQ(RowsFor(*store, "products", {}), "[]");
  EXPECT_GT(other->Forget("3f2a", error), -1) << error;
  EXPECT_FALSE(std::filesystem::exists(kInMemory));
}

TEST_F(SqliteStoreTest, KeepsABadRecordWithItsProblems) {
  const auto store = Open();
  const std::string text = "{\"pn\":7, \xFF";
  const auto record = RecordOf(text);
  EXPECT_EQ(AddRecord(*store, record).outcome, AddOutcome::Stored);
  const std::string answer = RowsFor(*store, "record", {{"digest", record->digest}});
  EXPECT_NE(answer.find("the text is not JSON"), std::string::npos) << answer;
  EXPECT_NE(answer.find(R"({\"pn\":7, �)"), std::string::npos) << answer;
  EXPECT_EQ(store->Ask("record", {{"digest", std::string(64, '0')}}).status, 404);
}

TEST_F(SqliteStoreTest, TakesHostileTextAsText) {
  const auto store = Open();
  const std::string name = R"(Robert'); DROP TABLE events;-- </script> \" [0] $.a)";
  EventText event{.name = name, .properties = '"' + name + R"(":"$a.b[0]")"};
  AddAll(*store, {RecordText("a", event)});
  Parameters parameters = kWriter;
  parameters["name"] = R"(Robert'); DROP TABLE events;-- </script> " [0] $.a)";
  parameters["property"] = parameters["name"];
  EXPECT_EQ(RowsFor(*store, "values", parameters), R"([["$a.b[0]",1]])");
}

TEST_F(SqliteStoreTest, RefusesFilesThatAreNoStoresOfItsLayout) {
  folder_.Put("tav.db", std::string(5000, 'x'));
  EXPECT_EQ(OpenError(), "file is not a database");
  std::filesystem::remove(folder_.Root() / "tav.db");
  Database(Path(), Database::Access::Write, 0).Execute("CREATE TABLE t(a)");
  EXPECT_EQ(OpenError(), "the file is an SQLite database, but no gateway's store");
  std::filesystem::remove(folder_.Root() / "tav.db");
  Open().reset();
  Database(Path(), Database::Access::Write, 0).Execute("PRAGMA user_version = 2");
  EXPECT_EQ(OpenError(), "the store has layout 2; this program reads layout 1 only");
  std::string error;
  EXPECT_EQ(OpenStore({folder_.Path("none") + "/tav.db", 0}, error), nullptr);
}

TEST_F(SqliteStoreTest, FailsWhileAnotherProcessHoldsTheFile) {
  SqliteOptions options = Options();
  options.busy = std::chrono::milliseconds(20);
  SqliteStore store(options);
  {
    Database other(Path(), Database::Access::Write, 1000);
    const Transaction transaction(other);
    EXPECT_EQ(AddRecord(store, RecordOf(RecordText("a"))).outcome, AddOutcome::Failed);
  }
  EXPECT_EQ(AddText(store, RecordText("a")), AddOutcome::Stored);
}

TEST_F(SqliteStoreTest, RefusesRecordsWhenTooManyWait) {
  SqliteOptions options = Options();
  options.maxWaiting = 5;
  options.busy = std::chrono::minutes(1);
  std::atomic<int> stored = 0;
  std::atomic<int> failed = 0;
  {
    SqliteStore store(options);
    Database other(Path(), Database::Access::Write, 1000);
    const Transaction transaction(other);
    for (int i = 0; i < 200; ++i) {
      store.Add(RecordOf(RecordText(std::to_string(i))), [&](const AddResult& result) {
        ++(result.outcome == AddOutcome::Stored ? stored : failed);
      });
    }
  }
  // Those that the writer took before it met the lock, 5 that waited; one batch is 100 at most.
  EXPECT_GE(stored, 5);
  EXPECT_GE(failed, 95);
  EXPECT_EQ(stored + failed, 200);
}

TEST_F(SqliteStoreTest, CountsTheRowsOfRecordsThatWait) {
  EventText event;
  for (int i = 0; i < 500; ++i) {
    event.properties += (i > 0 ? ",\"" : "\"") + std::to_string(i) + "\":1";
  }
  constexpr std::size_t kRecords = 200;
  SqliteOptions options = Options();
  options.busy = std::chrono::minutes(1);
  // The texts of all records have room, their rows have not.
  options.maxWaitingBytes = kRecords * RecordText("000", event).size();
  std::atomic<std::size_t> failed = 0;
  {
    SqliteStore store(options);
    Database other(Path(), Database::Access::Write, 1000);
    const Transaction transaction(other);
    for (std::size_t i = 0; i < kRecords; ++i) {
      store.Add(RecordOf(RecordText(std::to_string(i), event)), [&](const AddResult& result) {
        failed += result.outcome == AddOutcome::Failed ? 1 : 0;
      });
    }
  }
  EXPECT_GT(failed, kRecords / 4);
}

TEST_F(SqliteStoreTest, EndsQuestionsAtTheirDeadline) {
  std::string events;
  const std::string text = RecordText("a");
  const std::size_t at = text.find("[{") + 1;
  const std::string event = text.substr(at, text.rfind(']') - at);
  for (int i = 0; i < 20'000; ++i) {
    events += event + ',';
  }
  SqliteOptions options = Options();
  options.deadline = std::chrono::milliseconds(0);
  SqliteStore store(options);
  AddAll(store, {text.substr(0, at) + events + text.substr(at)});
  EXPECT_EQ(store.Ask("names", kWriter).status, 503);
  EXPECT_EQ(Open()->Ask("names", kWriter).status, 200);
}

TEST_F(SqliteStoreTest, WritesFromManyThreadsCountOnce) {
  constexpr int kThreads = 4;
  constexpr int kRecords = 100;
  std::atomic<int> stored = 0;
  {
    const auto store = Open();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&] {
        for (int i = 0; i < kRecords; ++i) {
          store->Add(RecordOf(RecordText(std::to_string(i))), [&](const AddResult& result) {
            stored += result.outcome == AddOutcome::Stored ? 1 : 0;
          });
          if (i % 10 == 0) {
            EXPECT_EQ(store->Ask("errors", kWriter).status, 200);
          }
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  EXPECT_EQ(stored, kRecords);
  EXPECT_EQ(RowsFor(*Open(), "names", kWriter), R"([["Open","event",100]])");
}

}  // namespace
}  // namespace Gateway
