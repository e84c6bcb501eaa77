#include "gateway/received_records.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "gateway/json_text.h"

namespace Gateway {
namespace {

TEST(ReceivedRecordsTest, KeepsTheLastBytes) {
  ReceivedRecords list({}, 1000, 30'000);
  const auto add = [&](std::size_t size) {
    Record record;
    record.text = std::string(size / 2, 'x');
    record.headers = {{"x-long", std::string(size / 2, 'x')}};
    list.Add(std::move(record));
  };
  const auto kept = [&] {
    std::string error;
    return json_array_size(ParseJson(list.ListRecords({}, false), error).get());
  };
  for (int i = 0; i < 9; ++i) {
    add(9'000);
  }
  EXPECT_EQ(kept(), 3U);
  add(50'000);
  EXPECT_EQ(kept(), 1U);
  EXPECT_TRUE(list.RecordText(10));
  list.Reset();
  add(9'000);
  add(9'000);
  EXPECT_EQ(kept(), 2U);
}

TEST(ReceivedRecordsTest, ShortensTheNamesOfALiveRecord) {
  Record record;
  record.product = std::string(1023, 'p') + "\u00E9";
  record.component = std::string(100'000, 'c');
  const std::string line = LiveRecordJson(record);
  EXPECT_NE(line.find('"' + std::string(1023, 'p') + '"'), std::string::npos);
  EXPECT_NE(line.find('"' + std::string(1024, 'c') + '"'), std::string::npos);
}

TEST(ReceivedRecordsTest, KeepsTheLastRecordsAndCountsAll) {
  ReceivedRecords list({}, 2);
  for (const char* label : {"one", "two", "one", "three"}) {
    Record record;
    record.text = label;
    record.digest = label;
    record.sessions = {label};
    list.Add(std::move(record));
  }
  EXPECT_FALSE(list.RecordText(2));
  EXPECT_EQ(list.RecordText(3), "one");
  EXPECT_EQ(list.RecordText(4), "three");
  EXPECT_FALSE(list.RecordText(5));
  std::string error;
  const JsonPtr summary = ParseJson(list.Summary(), error);
  EXPECT_EQ(json_integer_value(json_object_get(summary.get(), "records")), 4);
  EXPECT_EQ(json_integer_value(json_object_get(summary.get(), "sessions")), 2);
  const JsonPtr page = ParseJson(list.ListRecords({.from = 3, .limit = 9}, false), error);
  EXPECT_EQ(json_array_size(page.get()), 1U);
}

}  // namespace
}  // namespace Gateway
