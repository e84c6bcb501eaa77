// The questions of questions.h in SQLite's SQL.
#pragma once

#include <string>

#include "gateway/store/answers.h"
#include "gateway/store/questions.h"
#include "gateway/store/sqlite_database.h"

namespace Gateway {

// The statement that answers the question; a test looks at its plan.
std::string SqlOf(const Query& query);

// Throws SqliteError, also when the connection's progress handler ends the statement.
Answer AnswerQuery(Database& database, const Query& query);

}  // namespace Gateway
