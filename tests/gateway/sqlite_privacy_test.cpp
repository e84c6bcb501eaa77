#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

#include "gateway/store/forget.h"
#include "gateway/store/sqlite_store.h"
#include "gateway/store_fixture.h"
#include "support/eventually.h"
#include "support/temp_folder.h"

namespace Gateway {
namespace {

std::string StampDaysAgo(int days) {
  const std::time_t time = std::time(nullptr) - days * 86'400;
  char text[64];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S.000Z", std::gmtime(&time));
  return text;
}

std::string SessionNumber(int number) {
  char text[64];
  std::snprintf(text, sizeof text, "%08x-0000-4000-8000-000000000001",
                static_cast<unsigned>(number));
  return text;
}

class SqlitePrivacyTest : public testing::Test {
 protected:
  std::unique_ptr<SqliteStore> Open(int retentionDays = 0) const {
    SqliteOptions options;
    options.path = folder_.Path("tav.db");
    options.retentionDays = retentionDays;
    return std::make_unique<SqliteStore>(options);
  }

  // The files of the store that have the bytes.
  std::string FilesWith(const std::string& bytes) const {
    std::string names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Root())) {
      const std::string name = entry.path().filename().string();
      if (folder_.Contents(name.c_str()).find(bytes) != std::string::npos) {
        names += name + ' ';
      }
    }
    return names;
  }

  // Records of 40 endpoints in turn, so that their rows share pages and pages are split.
  void Fill(SqliteStore& store) const {
    for (int i = 0; i < 1200; ++i) {
      const int number = i * 7919 % 40;
      const std::string mark = "<" + std::to_string(number) + ">";
      const std::string value = mark + std::string(static_cast<std::size_t>(i % 90), 'x');
      const EventText event{
          .name = "Name" + mark + std::to_string(i % 3),
          .properties = "\"Key" + mark + "\":\"" + value + "\",\"Index\":" + std::to_string(i),
          .session = SessionNumber(number)};
      const std::string user = "user" + std::to_string(number / 2) + '.';
      store.Add(RecordOf(RecordText("endpoint" + mark, event, user)),
                [](const AddResult& result) { EXPECT_EQ(result.outcome, AddOutcome::Stored); });
    }
    // The last one is answered after all others.
    EXPECT_EQ(AddText(store, RecordText("last")), AddOutcome::Stored);
  }

  Tav::Testing::TempFolder folder_;
};

TEST_F(SqlitePrivacyTest, LeavesNoByteOfAForgottenEndpointOrUser) {
  const auto store = Open();
  Fill(*store);
  ASSERT_NE(FilesWith("endpoint<7>"), "");
  std::string error;
  EXPECT_EQ(store->Forget("endpoint<7>", error), 30) << error;
  EXPECT_EQ(FilesWith("<7>"), "");
  EXPECT_EQ(FilesWith(SessionNumber(7)), "");
  ASSERT_NE(FilesWith("user5."), "");
  EXPECT_EQ(store->Forget("user5.", error), 60) << error;
  EXPECT_EQ(FilesWith("user5."), "");
  EXPECT_EQ(FilesWith("<10>"), "");
  EXPECT_EQ(FilesWith("<11>"), "");
  EXPECT_NE(FilesWith("<12>"), "");
  // The store goes on, and what was forgotten may come again.
  EXPECT_EQ(store->Forget("user5.", error), 0);
  EXPECT_EQ(store->Forget("", error), -1);
  EXPECT_EQ(AddText(*store, RecordText("endpoint<7>", {.name = "Name<7>1"})), AddOutcome::Stored);
  EXPECT_EQ(RowsFor(*store, "values",
                    {{"product", "Quendel Writer"}, {"name", "Name<7>1"}, {"property", "Key"}}),
            "[]");
}

TEST_F(SqlitePrivacyTest, ForgetsWhileAGatewayWrites) {
  const auto gateway = Open();
  AddAll(*gateway, {RecordText("a", {.name = "Secret"}), RecordText("b")});
  std::FILE* out = std::tmpfile();
  EXPECT_EQ(RunForget({folder_.Path("tav.db"), 0}, "a", out, out), 0);
  EXPECT_EQ(RunForget({folder_.Path("tav.db"), 0}, "a", out, out), 1);
  EXPECT_EQ(RunForget({folder_.Path("other.db"), 0}, "a", out, out), 2);
  std::fclose(out);
  EXPECT_EQ(FilesWith("Secret"), "");
  // The gateway's numbers of deleted names are out of date.
  AddAll(*gateway, {RecordText("c", {.name = "Secret"})});
  EXPECT_EQ(RowsFor(*gateway, "names", kWriter), R"([["Open","event",1],["Secret","event",1]])");
}

TEST_F(SqlitePrivacyTest, DropsWhatIsOlderThanTheRetention) {
  const auto text = [](int days, const std::string& endpoint) {
    return RecordText(endpoint, {.time = StampDaysAgo(days), .name = "Day" + std::to_string(days)});
  };
  {
    const auto store = Open();
    for (int i = 0; i < 600; ++i) {
      store->Add(RecordOf(text(40, "old" + std::to_string(i))), [](const AddResult&) {});
    }
    AddAll(*store, {text(3, "a"), text(2, "b")});
  }
  const auto store = Open(30);
  EXPECT_TRUE(Tav::Testing::Eventually([&] {
    return RowsFor(*store, "names", kWriter) == R"([["Day2","event",1],["Day3","event",1]])";
  }));
  EXPECT_EQ(AddText(*store, text(31, "c")), AddOutcome::Expired);
  EXPECT_EQ(AddText(*store, text(29, "d")), AddOutcome::Stored);
  // All events are in one session; it begins with the oldest that is left.
  const std::string sessions = RowsFor(*store, "sessions", kWriter);
  EXPECT_NE(sessions.find(",3,0]]"), std::string::npos) << sessions;
  EXPECT_TRUE(Tav::Testing::Eventually([&] { return FilesWith("Day40").empty(); }));
}

}  // namespace
}  // namespace Gateway
