#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

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

  // "events_time, covering" for an index of the events or the sessions that the plan uses.
  static void CollectIndexes(Database& database,
                             const std::string& sql,
                             std::set<std::string>& indexes) {
    static const std::regex kUse("USING (COVERING )?INDEX ((events|sessions)_[a-z]+)");
    Statement plan = database.Prepare("EXPLAIN QUERY PLAN " + sql);
    while (plan.Step()) {
      const std::string line(plan.Text(3));
      if (std::smatch found; std::regex_search(line, found, kUse)) {
        indexes.insert(found[2].str() + (found[1].matched ? ", covering" : ""));
      }
    }
  }

  Tav::Testing::TempFolder folder_;
};

// By question, what docs/analysis.md says of the indexes of events and sessions.
std::map<std::string, std::set<std::string>> DocumentedIndexes() {
  static const std::regex kQuestion("`([a-z_]+)`");
  static const std::regex kIndex("`((?:events|sessions)_[a-z]+)`(, covering)?");
  std::map<std::string, std::set<std::string>> documented;
  bool isTable = false;
  for (const std::string& line : LinesOf(SourceFile("docs/analysis.md"))) {
    isTable =
        isTable ? line.starts_with('|') : line == "| question about one product | index | ms |";
    if (!isTable || line.starts_with("|--") || line.starts_with("| question ")) {
      continue;
    }
    const std::vector<std::string> cells = CellsOf(line);
    const std::sregex_iterator end;
    for (std::sregex_iterator at(cells[0].begin(), cells[0].end(), kQuestion); at != end; ++at) {
      std::set<std::string>& indexes = documented[(*at)[1]];
      for (std::sregex_iterator use(cells[1].begin(), cells[1].end(), kIndex); use != end; ++use) {
        indexes.insert((*use)[1].str() + (*use)[2].str());
      }
    }
  }
  return documented;
}

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

TEST_F(AnalysisTest, QuestionsUseTheDocumentedIndexes) {
  Database database(Path(), Database::Access::Read, 1000);
  std::map<std::string, std::set<std::string>> used;
  for (const ExpectedAnswer& expected : ExpectedAnswers()) {
    const ParsedQuestion parsed = ParseQuestion(expected.question, expected.parameters);
    ASSERT_TRUE(parsed.query) << expected.question;
    CollectIndexes(database, SqlOf(*parsed.query), used[expected.question]);
  }
  EXPECT_EQ(used, DocumentedIndexes());
}

}  // namespace
}  // namespace Gateway
