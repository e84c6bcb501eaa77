#include "gateway/load/made_records.h"

#include <chrono>
#include <cstdio>
#include <iterator>

namespace Gateway {
namespace {

constexpr std::int64_t kEndpoints = 2000;
constexpr std::int64_t kMadeDay = 86'400'000;

constexpr const char* kFormats[] = {"PDF", "DOCX", "ODT", "RTF", "TXT"};
constexpr const char* kLanguages[] = {"de_AT", "en_US", "fr_FR", "ja_JP"};
constexpr const char* kPlaces[] = {"Start", "Editor", "Preview", "Options", "Help"};
constexpr const char* kCodes[] = {"P-17", "F-2", "N-404", "M-1"};

// SplitMix64: every number has a sequence of its own.
class Dice {
 public:
  explicit Dice(std::int64_t seed) : state_(static_cast<std::uint64_t>(seed)) {}

  // From 0 to `sides` - 1.
  std::int64_t Roll(std::int64_t sides) {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return static_cast<std::int64_t>((mixed ^ (mixed >> 31U)) % static_cast<std::uint64_t>(sides));
  }
  // The same, small numbers more often.
  std::int64_t RollLow(std::int64_t sides) { return Roll(Roll(sides) + 1); }

 private:
  std::uint64_t state_;
};

template <typename... Values>
std::string Format(const char* format, Values... values) {
  char text[512];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

std::string Stamp(std::int64_t time) {
  using namespace std::chrono;
  const sys_time<milliseconds> at{milliseconds(time)};
  const auto day = floor<days>(at);
  const year_month_day date(day);
  const hh_mm_ss clock(at - day);
  return Format("%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()),
                static_cast<int>(clock.subseconds().count()));
}

// `"m":"NAME","v":{...}` of an event, or a marker.
std::string Body(Dice& dice) {
  const std::int64_t kind = dice.Roll(100);
  if (kind < 12) {
    return Format(R"("g":"%s")", kPlaces[dice.RollLow(std::ssize(kPlaces))]);
  }
  if (kind < 42) {
    return Format(R"("m":"std-Cmd","v":{"std-Name":"Command%d"})",
                  static_cast<int>(dice.RollLow(60)));
  }
  if (kind < 44) {
    return R"("g":"$i")";
  }
  if (kind < 45) {
    return Format(R"("m":"std-Error","v":{"std-ErrCode":"%s","std-ErrMsg":"failed",)"
                  R"("std-Trace":[{"std-Loc":"file%d.cpp:%d"}],"std-Place":["Start"]})",
                  kCodes[dice.RollLow(std::ssize(kCodes))], static_cast<int>(dice.Roll(9)),
                  static_cast<int>(dice.Roll(900)));
  }
  if (kind < 48) {
    return Format(R"("m":"menu","v":{"open":%d.0,"save":%d.0})", static_cast<int>(dice.Roll(9) + 1),
                  static_cast<int>(dice.Roll(9) + 1));
  }
  return Format(R"("m":"Event%d","v":{"Format":"%s","Pages":%d.0,"Seconds":%.2f})",
                static_cast<int>(dice.RollLow(40)), kFormats[dice.RollLow(std::ssize(kFormats))],
                static_cast<int>(dice.RollLow(300) + 1),
                static_cast<double>(dice.Roll(5000)) / 100);
}

}  // namespace

std::string MadeRecord(std::int64_t number, std::int64_t count) {
  const std::int64_t session = number / 2;
  const bool isFirst = number % 2 == 0;
  Dice ofSession(session);
  const std::int64_t endpoint = ofSession.RollLow(kEndpoints);
  const std::int64_t begin = kMadeStart + session * 2 * kMadeDays * kMadeDay / (count + 1);
  const bool isNew = ofSession.Roll(kMadeDays) * kMadeDay < begin - kMadeStart;
  const std::string id =
      Format("%08llx-0000-4000-8000-%012llx", static_cast<unsigned long long>(session),
             static_cast<unsigned long long>(session));
  std::string text =
      Format(R"({"pn":"%s","pv":"%s","pp":"wntx64","sv":"2.8.2.1187559","tv":3,)"
             R"("ep":"02X%037llx","u":"%040llx","pt":{})",
             endpoint % 2 == 0 ? "Quendel Writer" : "Quendel Draw", isNew ? "1.5" : "1.4",
             static_cast<unsigned long long>(endpoint), static_cast<unsigned long long>(endpoint));
  if (isFirst) {
    text += Format(R"(,"pe":{"std-AppLanguage":"%s","std-Incremental":"false","t":"%s"})"
                   R"(,"ce":{"t":"%s","OsName":"Windows","OsVersion":"1%d.0"})",
                   kLanguages[endpoint % 4], Stamp(begin).c_str(), Stamp(begin).c_str(),
                   static_cast<int>(endpoint % 3 % 2));
  }
  Dice dice(-1 - number);
  std::int64_t time = begin + (isFirst ? 0 : 20 * 60'000);
  text += ",\"rt\":[";
  for (int i = 0; i < kEventsPerRecord; ++i) {
    const std::string body = isFirst && i == 0                       ? R"("g":"$b")"
                             : !isFirst && i == kEventsPerRecord - 1 ? R"("g":"$e")"
                                                                     : Body(dice);
    text += i > 0 ? "," : "";
    text.append(R"({"t":")").append(Stamp(time)).append(R"(","s":")").append(id);
    text.append("\",").append(body).append("}");
    time += dice.Roll(60'000) + 1;
  }
  return text += "]}";
}

std::shared_ptr<const Record> ReadMadeRecord(std::int64_t number, std::int64_t count) {
  const Headers headers{{"content-type", "application/json; charset=utf-8"},
                        {"x-sdkversion", "2.8.2.1187559"}};
  return std::make_shared<const Record>(
      ReadRecord({"/", headers, MadeRecord(number, count)}, kMaxExpandedBytes, true));
}

}  // namespace Gateway
