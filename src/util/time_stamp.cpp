#include "util/time_stamp.h"

#include <algorithm>
#include <atomic>

#include "platform/clock.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr int64_t kMillisecondsPerDay = 86400000;
constexpr int64_t kBiasLifetimeMilliseconds = 1000;
// The range of years with at most four digits.
constexpr int64_t kFirstMoment = -62167219200000;
constexpr int64_t kLastMoment = 253402300799999;

// The offset and the moment of its query in one word, so that no lock is needed: milliseconds in
// the upper 48 bits, the offset in the lower 16. Zero before the first query.
std::atomic<uint64_t> cachedBias{0};

uint64_t PackBias(int64_t unixMilliseconds, int16_t bias) {
  return (static_cast<uint64_t>(unixMilliseconds) << 16) | static_cast<uint16_t>(bias);
}

int16_t BiasOf(uint64_t packed) {
  return static_cast<int16_t>(packed & 0xFFFF);
}

bool IsFresh(uint64_t packed, int64_t now) {
  const int64_t age = now - static_cast<int64_t>(packed >> 16);
  return age >= 0 && age < kBiasLifetimeMilliseconds;
}

int16_t QueryBias(int64_t now) {
  const std::optional<int> bias = Platform::QueryUtcBiasMinutes();
  const auto minutes = static_cast<int16_t>(std::clamp(bias.value_or(0), -32767, 32767));
  // Stored before the warning, because its time stamp reads it.
  cachedBias.store(PackBias(now, minutes), std::memory_order_relaxed);
  if (!bias) {
    LogWarning("Could not get time zone info");
  }
  return minutes;
}

int16_t CurrentBias(int64_t now) {
  uint64_t packed = cachedBias.load(std::memory_order_relaxed);
  if (IsFresh(packed, now)) {
    return BiasOf(packed);
  }
  if (packed != 0) {
    // One thread queries; the others use the old offset until then.
    const uint64_t claimed = PackBias(now, BiasOf(packed));
    if (!cachedBias.compare_exchange_strong(packed, claimed, std::memory_order_relaxed)) {
      return BiasOf(packed);
    }
  }
  return QueryBias(now);
}

struct CivilDate {
  int year;
  int month;
  int day;
};

// Years begin in March, so that the leap day is the last; an era is 400 years, 146097 days. There
// are 719468 days between 0000-03-01 and 1970-01-01.
CivilDate CivilFromDays(int daysSince1970) {
  const int days = daysSince1970 + 719468;
  const int era = (days >= 0 ? days : days - 146096) / 146097;
  const int dayOfEra = days - era * 146097;
  const int yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const int dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int marchMonth = (5 * dayOfYear + 2) / 153;
  const int month = marchMonth < 10 ? marchMonth + 3 : marchMonth - 9;
  return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month,
          dayOfYear - (153 * marchMonth + 2) / 5 + 1};
}

// Writes the number's last `digits` digits.
char* PutNumber(char* out, unsigned number, int digits) {
  for (int i = digits - 1; i >= 0; --i) {
    out[i] = static_cast<char>('0' + number % 10);
    number /= 10;
  }
  return out + digits;
}

char* PutNumber(char* out, unsigned number, int digits, char separator) {
  out = PutNumber(out, number, digits);
  *out = separator;
  return out + 1;
}

}  // namespace

TimeStamp CaptureTimeStamp() {
  const int64_t now = Platform::UnixMilliseconds();
  return {now, CurrentBias(now)};
}

size_t FormatTimeStamp(const TimeStamp& stamp, char (&text)[kTimeStampTextSize]) {
  const int bias = stamp.utcBiasMinutes;
  const int64_t moment = std::clamp(stamp.unixMilliseconds, kFirstMoment, kLastMoment);
  const int64_t local = std::clamp(moment - bias * int64_t{60000}, kFirstMoment, kLastMoment);
  auto days = static_cast<int>(local / kMillisecondsPerDay);
  int64_t ofDay = local % kMillisecondsPerDay;
  if (ofDay < 0) {
    ofDay += kMillisecondsPerDay;
    --days;
  }
  const auto rest = static_cast<unsigned>(ofDay);
  const CivilDate date = CivilFromDays(days);
  char* out = PutNumber(text, static_cast<unsigned>(date.year), 4, '-');
  out = PutNumber(out, static_cast<unsigned>(date.month), 2, '-');
  out = PutNumber(out, static_cast<unsigned>(date.day), 2, 'T');
  out = PutNumber(out, rest / 3600000, 2, ':');
  out = PutNumber(out, rest / 60000 % 60, 2, ':');
  out = PutNumber(out, rest / 1000 % 60, 2, '.');
  out = PutNumber(out, rest % 1000, 3);
  if (bias == 0) {
    *out++ = 'Z';
  } else {
    const unsigned minutes = static_cast<unsigned>(bias < 0 ? -bias : bias);
    *out++ = bias < 0 ? '+' : '-';
    out = PutNumber(out, minutes / 60, 2, ':');
    out = PutNumber(out, minutes % 60, 2);
  }
  *out = '\0';
  return static_cast<size_t>(out - text);
}

std::string FormatTimeStamp(const TimeStamp& stamp) {
  char text[kTimeStampTextSize];
  const size_t length = FormatTimeStamp(stamp, text);
  return std::string(text, length);
}

std::string LocalTimeStamp() {
  return FormatTimeStamp(CaptureTimeStamp());
}

int64_t CurrentTime() {
  return Platform::UnixMilliseconds() / 1000;
}

double CurrentTimeSeconds() {
  return static_cast<double>(Platform::FileTimeUnits()) * 1e-7;
}

}  // namespace Tav
