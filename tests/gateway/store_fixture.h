// Records for the tests of stores, and a store that answers at once.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "gateway/record_reader.h"
#include "gateway/store/rows.h"
#include "gateway/store/store.h"

namespace Gateway {

inline std::string SourceFile(const std::string& name) {
  return std::string(TAV_SOURCE_FOLDER) + '/' + name;
}

inline std::vector<std::string> LinesOf(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  EXPECT_FALSE(lines.empty()) << path;
  return lines;
}

inline std::shared_ptr<Record> RecordOf(const std::string& text, bool withRows = true) {
  const Headers headers{{"content-type", "application/json; charset=utf-8"},
                        {"x-sdkversion", "2.8.2.1187559"}};
  return std::make_shared<Record>(ReadRecord({"/", headers, text}, kMaxExpandedBytes, withRows));
}

// The texts of the records that docs/analysis.md and the expected answers are about.
inline std::vector<std::string> AnalysisRecords() {
  return LinesOf(SourceFile("tests/gateway/analysis_records.jsonl"));
}

struct EventText {
  std::string time = "2026-11-02T09:00:00.000Z";
  std::string name = "Open";
  std::string properties = "";  // members of "v"
  std::string session = "00000001-0000-4000-8000-000000000001";
};

// A good record with one event.
inline std::string RecordText(const std::string& endpoint,
                              const EventText& event = {},
                              const std::string& user = {}) {
  return R"({"pn":"Quendel Writer","pv":"1.4","pp":"wntx64","sv":"2.8.2.1187559","tv":3,"ep":")" +
         endpoint + '"' + (user.empty() ? "" : R"(,"u":")" + user + '"') +
         R"(,"pt":{},"rt":[{"t":")" + event.time + R"(","s":")" + event.session + R"(","m":")" +
         event.name + '"' + (event.properties.empty() ? "" : ",\"v\":{" + event.properties + '}') +
         "}]}";
}

inline AddResult AddRecord(Store& store, std::shared_ptr<const Record> record) {
  std::promise<AddResult> result;
  store.Add(std::move(record), [&](const AddResult& given) { result.set_value(given); });
  return result.get_future().get();
}

inline AddOutcome AddText(Store& store, const std::string& text) {
  const AddResult result = AddRecord(store, RecordOf(text));
  EXPECT_EQ(result.reason.empty(), result.outcome != AddOutcome::Failed) << result.reason;
  return result.outcome;
}

inline void AddAll(Store& store, const std::vector<std::string>& texts) {
  for (const std::string& text : texts) {
    EXPECT_EQ(AddText(store, text), AddOutcome::Stored) << text;
  }
}

// All of them arrive on 20 November 2026.
inline void AddAnalysisRecords(Store& store) {
  for (const std::string& text : AnalysisRecords()) {
    const auto record = RecordOf(text);
    EXPECT_TRUE(record->problems.empty()) << text;
    record->arrival = std::chrono::system_clock::time_point(std::chrono::seconds(1'795'132'800));
    EXPECT_EQ(AddRecord(store, record).outcome, AddOutcome::Stored) << text;
  }
}

// The rows of an answer, as JSON.
inline std::string RowsFor(Store& store, std::string_view question, const Parameters& parameters) {
  const Answer answer = store.Ask(question, parameters);
  const std::size_t rows = answer.json.find("\"rows\":");
  EXPECT_EQ(answer.status, 200) << answer.json;
  return rows == std::string::npos ? answer.json
                                   : answer.json.substr(rows + 7, answer.json.size() - rows - 8);
}

inline const Parameters kWriter = {{"product", "Quendel Writer"}};

}  // namespace Gateway
