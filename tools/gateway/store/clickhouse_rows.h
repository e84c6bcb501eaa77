// A record's rows as lines of ClickHouse's JSONEachRow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/record_reader.h"
#include "gateway/store/rows.h"

namespace Gateway {

// Rows that lack their last member, the number of the copy: it differs with each attempt.
class ClickHouseLines {
 public:
  // The text of one row, without its closing brace.
  void Add(std::string_view row);
  // Appends all rows with the copy's number.
  void Write(std::uint64_t copy, std::string& lines) const;

  std::size_t Bytes() const { return text_.size(); }

 private:
  std::string text_;
  std::vector<std::size_t> ends_;
};

struct ClickHouseRecord {
  std::string digest;
  ClickHouseLines events;
  ClickHouseLines record;  // one row

  std::size_t Bytes() const { return events.Bytes() + record.Bytes(); }
};

// The day of a time in ms since the epoch, UTC: "2026-11-23".
std::string ClickHouseDay(std::int64_t time);

// Any thread.
ClickHouseRecord MakeClickHouseRecord(const Record& record, const RecordRows& rows);

}  // namespace Gateway
