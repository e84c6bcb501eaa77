#include "gateway/store/clickhouse_questions.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <utility>
#include <vector>

#include "gateway/store/answers.h"
#include "gateway/store/clickhouse_sql.h"
#include "gateway/store/row_binary.h"
#include "gateway/store/rows.h"

namespace Gateway {
namespace {

constexpr std::chrono::seconds kTimeout{12};

// Sent with every question, so that no mistake in a statement can write or take long.
constexpr std::string_view kSettings =
    "&readonly=2&max_execution_time=10&wait_end_of_query=1&enable_optimize_predicate_expression=1"
    "&max_result_rows=100000&result_overflow_mode=throw&default_format=RowBinary";

ClickHouseReply Read(ClickHouseClient& client, std::string_view sql) {
  return client.Post("database=" + client.Address().database + std::string(kSettings), sql,
                     kTimeout);
}

Answer Failure(const ClickHouseReply& reply) {
  constexpr std::size_t kMaxReason = 300;
  return ErrorAnswer(503, "ClickHouse: " + reply.text.substr(0, kMaxReason));
}

// The next three columns: keys, types and texts of properties.
std::string ReadProperties(RowBinary& rows) {
  std::vector<Property> properties(rows.Length());
  for (Property& property : properties) {
    property.key = rows.Text();
  }
  rows.Length();
  for (Property& property : properties) {
    property.type = rows.Text() == "text" ? PropertyType::Text : PropertyType::Json;
  }
  rows.Length();
  for (Property& property : properties) {
    property.text = rows.Text();
  }
  return PropertiesJson(properties);
}

// A letter for each column: (i)nteger, (n)umber, (t)ext, (j)son, (p)roperties, (v)alue of a
// property.
std::string_view LayoutOf(QuestionId id) {
  switch (id) {
    case QuestionId::Products:
    case QuestionId::Sessions:
      return "ttiiii";
    case QuestionId::EventsOverTime:
    case QuestionId::Daily:
      return "ii";
    case QuestionId::Names:
      return "tti";
    case QuestionId::Properties:
    case QuestionId::Environments:
      return "tii";
    case QuestionId::Values:
      return "vi";
    case QuestionId::Session:
      return "ittttpt";
    case QuestionId::Errors:
      return "ttiiitj";
    case QuestionId::BeforeError:
      return "ittp";
    case QuestionId::Retention:
      return "iii";
    case QuestionId::Counters:
      return "tn";
    case QuestionId::Record:
      return "titttjjt";
    case QuestionId::Histogram:
      break;
  }
  return {};
}

// A sum of whole numbers is one.
void CopyNumber(double number, AnswerWriter& writer) {
  constexpr double kMaxWhole = 9007199254740992;  // 2^53
  if (std::floor(number) == number && std::fabs(number) <= kMaxWhole) {
    writer.Integer(static_cast<std::int64_t>(number));
  } else {
    writer.Number(number);
  }
}

void CopyValue(char letter, RowBinary& rows, AnswerWriter& writer) {
  switch (letter) {
    case 'i':
      return writer.Integer(rows.Integer());
    case 'n':
      return CopyNumber(rows.Number(), writer);
    case 't':
      return writer.Text(rows.Text());
    case 'j':
      return writer.Json(rows.Text());
    case 'p':
      return writer.Json(ReadProperties(rows));
    default: {
      const bool isNumber = rows.Text() == "number";
      return isNumber ? writer.Json(rows.Text()) : writer.Text(rows.Text());
    }
  }
}

double ToNumber(std::string_view text) {
  double number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

Answer AskHistogram(ClickHouseClient& client, const Query& query) {
  AnswerWriter writer(query.id);
  const ClickHouseReply range = Read(client, ClickHouseRange(query));
  if (!range.IsOk()) {
    return Failure(range);
  }
  RowBinary found(range.text);
  if (found.Integer() == 0) {
    return writer.Finish();
  }
  const double least = ToNumber(found.Text());
  Histogram histogram(least, ToNumber(found.Text()), query.bins);
  const std::vector<double> edges = histogram.InnerEdges();
  const ClickHouseReply bins = Read(client, ClickHouseBins(query, edges));
  if (!bins.IsOk()) {
    return Failure(bins);
  }
  for (RowBinary rows(bins.text); !rows.IsAtEnd();) {
    const auto bin = static_cast<std::size_t>(rows.Integer());
    histogram.Add(bin == 0 ? least : edges.at(bin - 1), rows.Integer());
  }
  histogram.Write(writer);
  return writer.Finish();
}

}  // namespace

Answer AskClickHouse(ClickHouseClient& client, const Query& query) {
  if (query.id == QuestionId::Histogram) {
    return AskHistogram(client, query);
  }
  const ClickHouseReply reply = Read(client, ClickHouseQuestion(query));
  if (!reply.IsOk()) {
    return Failure(reply);
  }
  AnswerWriter writer(query.id);
  for (RowBinary rows(reply.text); !rows.IsAtEnd();) {
    for (const char letter : LayoutOf(query.id)) {
      CopyValue(letter, rows, writer);
    }
  }
  const bool isMissing = query.id == QuestionId::Record && writer.Rows() == 0;
  return isMissing ? ErrorAnswer(404, "no such record") : writer.Finish();
}

bool ReadClickHouseNumber(ClickHouseClient& client,
                          std::string_view sql,
                          std::int64_t& number,
                          std::string& error) {
  const ClickHouseReply reply = Read(client, sql);
  if (!reply.IsOk()) {
    error = reply.text;
    return false;
  }
  number = RowBinary(reply.text).Integer();
  return true;
}

}  // namespace Gateway
