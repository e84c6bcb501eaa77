#include "session/refused_records.h"

#include <charconv>
#include <chrono>
#include <string>
#include <string_view>

#include "streams/gzip_stream.h"

namespace Tav {

namespace {

constexpr std::chrono::days kMaxAge{30};
// A greater age, or a time before 2000, comes from a clock that is wrong or was.
constexpr std::chrono::days kMaxPlausibleAge{3650};
constexpr std::chrono::year kFirstPlausibleYear{2000};

// Keys as they appear in the text. A quotation mark inside a string is escaped, so neither key can
// occur there. A record without events has the time of its environment.
constexpr std::string_view kFirstEventTime = R"("rt":[{"t":")";
constexpr std::string_view kFirstTime = R"("t":")";

int NumberAt(std::string_view text, size_t position, size_t length) {
  int number = 0;
  const std::string_view digits = text.substr(position, length);
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

// The day, in UTC give or take one, of the first time stamp after `key`, such as
// "2021-03-04T10:11:12.345Z". An invalid day if there is none.
std::chrono::year_month_day DayAfter(std::string_view text, std::string_view key) {
  const size_t found = text.find(key);
  const size_t start = found == std::string_view::npos ? text.size() : found + key.size();
  if (start + 10 > text.size()) {
    return {};
  }
  return {std::chrono::year(NumberAt(text, start, 4)),
          std::chrono::month(static_cast<unsigned>(NumberAt(text, start + 5, 2))),
          std::chrono::day(static_cast<unsigned>(NumberAt(text, start + 8, 2)))};
}

}  // namespace

bool IsOutdated(const BuiltRecord& record, int64_t now) {
  const std::string text = ExpandGZip(record.bytes);
  std::chrono::year_month_day day = DayAfter(text, kFirstEventTime);
  if (!day.ok()) {
    day = DayAfter(text, kFirstTime);
  }
  if (!day.ok() || day.year() < kFirstPlausibleYear) {
    return false;
  }
  const auto age = std::chrono::seconds(now) - std::chrono::sys_days(day).time_since_epoch();
  return age > kMaxAge + std::chrono::days(1) && age < kMaxPlausibleAge;
}

}  // namespace Tav
