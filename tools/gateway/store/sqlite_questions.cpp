#include "gateway/store/sqlite_questions.h"

#include <algorithm>
#include <vector>

namespace Gateway {
namespace {

void BindQuery(Statement& statement, const Query& query, const std::string& digest) {
  statement.BindName(":product", query.product);
  statement.BindName(":version", query.version ? std::string_view(*query.version) : "");
  statement.BindName(":name", query.name ? std::string_view(*query.name) : "");
  statement.BindName(":component", query.component ? std::string_view(*query.component) : "");
  statement.BindName(":property", query.property);
  statement.BindName(":session", query.session);
  statement.BindBlobName(":digest", digest);
  statement.BindName(":from", query.from);
  statement.BindName(":to", query.to);
  statement.BindName(":step", query.step);
  statement.BindName(":time", query.time);
  statement.BindName(":before", query.before);
  statement.BindName(":limit", query.limit);
  if (query.kind) {
    statement.BindName(":kind", static_cast<std::int64_t>(*query.kind));
  }
}

bool IsJson(std::string_view column) {
  return column == "trace" || column == "headers" || column == "problems";
}

void WriteValue(AnswerWriter& writer,
                const Statement& statement,
                int index,
                std::string_view column) {
  if (column == "kind") {
    writer.Text(KindName(static_cast<EventKind>(statement.Integer(index))));
  } else if (column == "properties") {
    writer.Json(statement.IsNull(index) ? "{}" : statement.Text(index));
  } else if (IsJson(column)) {
    writer.Json(statement.Text(index));
  } else if (statement.Type(index) == SQLITE_INTEGER) {
    writer.Integer(statement.Integer(index));
  } else if (statement.Type(index) == SQLITE_FLOAT) {
    writer.Number(statement.Number(index));
  } else {
    writer.Text(statement.Text(index));
  }
}

void WriteRows(AnswerWriter& writer, Statement& statement, QuestionId id) {
  while (statement.Step()) {
    int index = 0;
    for (const std::string_view column : ColumnsOf(id)) {
      WriteValue(writer, statement, index++, column);
    }
  }
}

void WriteHistogram(AnswerWriter& writer, Statement& statement, std::int64_t bins) {
  std::vector<double> numbers;
  while (statement.Step()) {
    numbers.push_back(statement.Number(0));
  }
  if (numbers.empty()) {
    return;
  }
  const auto [least, greatest] = std::ranges::minmax(numbers);
  Histogram histogram(least, greatest, bins);
  for (const double number : numbers) {
    histogram.Add(number);
  }
  histogram.Write(writer);
}

}  // namespace

Answer AnswerQuery(Database& database, const Query& query) {
  Statement statement = database.Prepare(SqlOf(query));
  const std::string digest = BytesOfHex(query.digest);
  BindQuery(statement, query, digest);
  AnswerWriter writer(query.id);
  if (query.id == QuestionId::Histogram) {
    WriteHistogram(writer, statement, query.bins);
  } else {
    WriteRows(writer, statement, query.id);
  }
  if (query.id == QuestionId::Record && writer.Rows() == 0) {
    return ErrorAnswer(404, "no such record");
  }
  return writer.Finish();
}

}  // namespace Gateway
