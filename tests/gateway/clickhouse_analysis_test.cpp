#include <algorithm>
#include <sstream>

#include "gateway/clickhouse_fixture.h"
#include "gateway/expected_answers.h"

namespace Gateway {
namespace {

// The analysis records, each of them twice: by two stores, so that there are two copies.
class ClickHouseAnalysisTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    for (int i = 0; i < 2; ++i) {
      AddAnalysisRecords(*OpenDatabase(kDatabase));
    }
  }

  static constexpr char kDatabase[] = "analysis";
};

// ClickHouse writes 4 where SQLite writes 4.0.
bool IsSameRow(const std::vector<std::string>& row, const std::vector<std::string>& expected) {
  return std::ranges::equal(row, expected, [](const std::string& a, const std::string& b) {
    return a == b || a + ".0" == b;
  });
}

TEST_F(ClickHouseAnalysisTest, QuestionsHaveTheAnswersOfTheOtherStore) {
  CheckAnswers(*OpenDatabase(kDatabase));
}

TEST_F(ClickHouseAnalysisTest, DocumentedSqlGivesTheDocumentedAnswers) {
  for (const DocumentedQuestion& question : DocumentedQuestions()) {
    ASSERT_FALSE(question.rows.empty()) << question.title;
    std::vector<std::vector<std::string>> rows{question.rows.front()};
    std::istringstream answer(Select(kDatabase, question.clickhouse));
    for (std::string line; std::getline(answer, line);) {
      std::ranges::replace(line, '\t', '|');
      rows.push_back(CellsOf('|' + line));
    }
    EXPECT_TRUE(std::ranges::equal(rows, question.rows, IsSameRow)) << question.title << '\n'
                                                                    << testing::PrintToString(rows);
  }
}

}  // namespace
}  // namespace Gateway
