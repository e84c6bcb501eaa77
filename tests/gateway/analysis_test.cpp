#include <gtest/gtest.h>

#include <string>

#include "gateway/expected_answers.h"
#include "gateway/store/sqlite_questions.h"
#include "gateway/store/sqlite_store.h"
#include "support/temp_folder.h"

namespace Gateway {
namespace {

class AnalysisTest : public testing::Test {
 protected:
  AnalysisTest() {
    SqliteOptions options;
    options.path = Path();
    SqliteStore store(std::move(options));
    AddAnalysisRecords(store);
  }

  std::string Path() const { return folder_.Path("tav.db"); }

  // The lines of the plan that read all rows of the events.
  static std::string Scans(Database& database, const std::string& sql) {
    std::string scans;
    Statement plan = database.Prepare("EXPLAIN QUERY PLAN " + sql);
    while (plan.Step()) {
      const std::string line(plan.Text(3));
      const bool isEvents = line == "SCAN e" || line == "SCAN t" || line == "SCAN events";
      scans += isEvents ? line + '\n' : "";
    }
    return scans;
  }

  Tav::Testing::TempFolder folder_;
};

TEST_F(AnalysisTest, DocumentedSqlGivesTheDocumentedAnswers) {
  Database database(Path(), Database::Access::Read, 1000);
  const auto questions = DocumentedQuestions();
  EXPECT_EQ(questions.size(), 20U);
  for (const DocumentedQuestion& question : questions) {
    Statement statement = database.Prepare(question.sqlite);
    ASSERT_FALSE(question.rows.empty()) << question.title;
    std::vector<std::vector<std::string>> rows{question.rows.front()};
    while (statement.Step()) {
      std::vector<std::string>& cells = rows.emplace_back();
      for (int column = 0; column < static_cast<int>(question.rows.front().size()); ++column) {
        cells.emplace_back(statement.Text(column));
      }
    }
    EXPECT_EQ(rows, question.rows) << question.title;
    EXPECT_EQ(Scans(database, question.sqlite), "") << question.title;
  }
}

TEST_F(AnalysisTest, NoQuestionReadsAllEvents) {
  Database database(Path(), Database::Access::Read, 1000);
  EXPECT_EQ(Scans(database, "SELECT count(properties) FROM events e"), "SCAN e\n");
  for (const ExpectedAnswer& expected : ExpectedAnswers()) {
    const ParsedQuestion parsed = ParseQuestion(expected.question, expected.parameters);
    ASSERT_TRUE(parsed.query) << expected.question;
    EXPECT_EQ(Scans(database, SqlOf(*parsed.query)), "") << expected.question;
  }
}

}  // namespace
}  // namespace Gateway
