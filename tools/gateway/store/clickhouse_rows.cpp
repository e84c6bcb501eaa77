#include "gateway/store/clickhouse_rows.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <utility>

namespace Gateway {
namespace {

// ClickHouse takes every byte but these as it is, also what is not UTF-8.
void AppendQuoted(std::string_view text, std::string& out) {
  constexpr char kDigits[] = "0123456789abcdef";
  out += '"';
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (byte < 0x20) {
      out += "\\u00";
      out += kDigits[byte >> 4U];
      out += kDigits[byte & 0x0FU];
    } else {
      out += c;
    }
  }
  out += '"';
}

template <typename Number>
void AppendNumber(Number number, std::string& out) {
  std::array<char, 32> text{};
  out.append(text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr);
}

// Writes one row, member by member.
class RowText {
 public:
  void Text(std::string_view key, std::string_view value) {
    Key(key);
    AppendQuoted(value, text_);
  }

  void Integer(std::string_view key, std::int64_t value) {
    Key(key);
    AppendNumber(value, text_);
  }

  // An array with what `append(item, out)` makes of each item.
  template <typename Items, typename Append>
  void Array(std::string_view key, const Items& items, Append append) {
    Key(key);
    text_ += '[';
    for (const auto& item : items) {
      text_ += text_.back() == '[' ? "" : ",";
      append(item, text_);
    }
    text_ += ']';
  }

  // A Nested structure: an array for each of its columns.
  void Properties(const std::string& name, const std::vector<Property>& properties) {
    Array(name + ".key", properties,
          [](const Property& item, std::string& out) { AppendQuoted(item.key, out); });
    Array(name + ".type", properties, [](const Property& item, std::string& out) {
      out += item.type == PropertyType::Text     ? "\"text\""
             : item.type == PropertyType::Number ? "\"number\""
                                                 : "\"json\"";
    });
    Array(name + ".text", properties,
          [](const Property& item, std::string& out) { AppendQuoted(item.text, out); });
    Array(name + ".number", properties,
          [](const Property& item, std::string& out) { AppendNumber(item.number, out); });
  }

  // The members so far, without a closing brace.
  std::string_view View() const { return text_; }

 private:
  void Key(std::string_view key) {
    text_ += text_.size() > 1 ? ",\"" : "\"";
    text_.append(key).append("\":");
  }

  std::string text_ = "{";
};

void AddCommon(const Record& record, const RecordRows& rows, RowText& row) {
  const std::int64_t arrived = ArrivalOf(record);
  row.Text("digest", record.digest);
  row.Integer("arrived", arrived);
  row.Text("day", ClickHouseDay(arrived));
  row.Text("product", rows.product);
  row.Text("version", rows.version);
  row.Text("component", rows.component);
  row.Text("endpoint", rows.endpoint);
  row.Text("user", rows.user);
}

void AddRecord(const Record& record, const RecordRows& rows, ClickHouseLines& lines) {
  RowText row;
  AddCommon(record, rows, row);
  row.Text("component_version", rows.componentVersion);
  row.Text("headers", rows.headers);
  row.Text("problems", rows.problems);
  for (const auto& [name, environment] :
       {std::pair{"environment", &rows.productEnvironment}, std::pair{"machine", &rows.machine}}) {
    row.Integer(std::string(name) + "_time", environment->time);
    row.Properties(name, environment->values);
  }
  row.Text("text", record.text);
  lines.Add(row.View());
}

void AddEvent(std::string_view common, const EventRow& event, ClickHouseLines& lines) {
  RowText row;
  row.Integer("position", event.position);
  row.Integer("time", event.time);
  row.Text("session", event.session);
  row.Text("kind", KindName(event.kind));
  row.Text("name", event.name);
  row.Text("code", event.code);
  row.Text("trace", event.trace);
  row.Properties("property", event.properties);
  row.Properties("environment", event.sessionEnvironment);
  lines.Add(std::string(common).append(",").append(row.View().substr(1)));
}

}  // namespace

std::string ClickHouseDay(std::int64_t time) {
  using namespace std::chrono;
  const year_month_day date(floor<days>(sys_time<milliseconds>(milliseconds(time))));
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  return text.data();
}

void ClickHouseLines::Add(std::string_view row) {
  text_ += row;
  ends_.push_back(text_.size());
}

void ClickHouseLines::Write(std::uint64_t copy, std::string& lines) const {
  const std::string tail = ",\"copy\":" + std::to_string(copy) + "}\n";
  std::size_t begin = 0;
  for (const std::size_t end : ends_) {
    lines.append(text_, begin, end - begin).append(tail);
    begin = end;
  }
}

ClickHouseRecord MakeClickHouseRecord(const Record& record, const RecordRows& rows) {
  ClickHouseRecord result{.digest = record.digest, .events = {}, .record = {}};
  AddRecord(record, rows, result.record);
  RowText common;
  AddCommon(record, rows, common);
  for (const EventRow& event : rows.events) {
    AddEvent(common.View(), event, result.events);
  }
  return result;
}

}  // namespace Gateway
