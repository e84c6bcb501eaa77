// The answers of every store to the questions of /api/ask, and the questions of docs/analysis.md.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "gateway/json_text.h"
#include "gateway/store_fixture.h"

namespace Gateway {

struct ExpectedAnswer {
  std::string question;
  Parameters parameters;
  std::string answer;
};

// Pairs of lines: `QUESTION {"parameter":"value"}` and the answer. They are for AnalysisRecords().
inline std::vector<ExpectedAnswer> ExpectedAnswers() {
  std::vector<ExpectedAnswer> answers;
  const std::vector<std::string> lines = LinesOf(SourceFile("tests/gateway/answers.txt"));
  for (std::size_t i = 0; i + 1 < lines.size(); i += 2) {
    const std::size_t space = lines[i].find(' ');
    ExpectedAnswer expected{lines[i].substr(0, space), {}, lines[i + 1]};
    std::string error;
    const JsonPtr parameters = ParseJson(std::string_view(lines[i]).substr(space + 1), error);
    EXPECT_NE(parameters, nullptr) << lines[i] << ": " << error;
    ForEachMember(parameters.get(), [&](std::string_view key, const json_t* value) {
      expected.parameters.emplace(key, TextOf(value));
    });
    answers.push_back(std::move(expected));
  }
  return answers;
}

// Whether the store, which holds AnalysisRecords(), answers as expected.
inline void CheckAnswers(Store& store) {
  for (const ExpectedAnswer& expected : ExpectedAnswers()) {
    const Answer answer = store.Ask(expected.question, expected.parameters);
    EXPECT_EQ(answer.json, expected.answer)
        << expected.question << ' ' << testing::PrintToString(expected.parameters);
  }
}

struct DocumentedQuestion {
  std::string title;
  std::string sqlite;
  std::string clickhouse;
  std::vector<std::vector<std::string>> rows;  // with the head
};

inline std::vector<std::string> CellsOf(const std::string& line) {
  std::vector<std::string> cells;
  for (std::size_t at = 1; at < line.size();) {
    const std::size_t end = line.find('|', at);
    const std::string cell = line.substr(at, end - at);
    const std::size_t first = cell.find_first_not_of(' ');
    cells.push_back(first == std::string::npos
                        ? ""
                        : cell.substr(first, cell.find_last_not_of(' ') + 1 - first));
    at = end == std::string::npos ? end : end + 1;
  }
  return cells;
}

// Sections that start with ###, each with one SQL block for an engine and the expected table.
inline std::vector<DocumentedQuestion> DocumentedQuestions() {
  std::vector<DocumentedQuestion> questions;
  std::string* sql = nullptr;
  for (const std::string& line : LinesOf(SourceFile("docs/analysis.md"))) {
    if (line.starts_with("### ")) {
      questions.emplace_back().title = line.substr(4);
    } else if (questions.empty()) {
      continue;
    } else if (line == "```sql sqlite") {
      sql = &questions.back().sqlite;
    } else if (line == "```sql clickhouse") {
      sql = &questions.back().clickhouse;
    } else if (line == "```") {
      sql = nullptr;
    } else if (sql != nullptr) {
      *sql += line + '\n';
    } else if (line.starts_with('|') && !line.starts_with("|--")) {
      questions.back().rows.push_back(CellsOf(line));
    }
  }
  return questions;
}

}  // namespace Gateway
