// Every setting in docs/settings.md with every kind of value, and answers of hostile size: fetched
// from a server on loopback by a run, stored, and used by the next run. What is used is what the
// page says.
#include <algorithm>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <utility>

#include "config/config_manager.h"
#include "session/limits.h"
#include "session/session_fixture.h"
#include "support/loopback_server.h"

namespace Tav::Testing {
namespace {

// A row of the page's table that has a number.
struct Row {
  std::string name;
  int64_t min;
  int64_t max;
  int64_t defaultValue;
};

std::vector<Row> ReadPage() {
  std::ifstream page(TAV_SETTINGS_PAGE);
  const std::regex pattern(R"(^\| `(\w+)` \| number \| (?:any|(\d+) to (\d+)) \| (\d+) \|.*)");
  std::vector<Row> rows;
  std::string line;
  std::smatch match;
  while (std::getline(page, line)) {
    if (std::regex_match(line, match, pattern)) {
      const bool any = match[2].length() == 0;
      rows.push_back({match[1], any ? INT32_MIN : std::stoll(match[2]),
                      any ? INT32_MAX : std::stoll(match[3]), std::stoll(match[4])});
    }
  }
  return rows;
}

// A value as JSON, and the number that the library reads, before its range is applied.
struct Value {
  const char* json;
  std::optional<int64_t> read;  // nothing: the setting is ignored
};

constexpr int64_t kMin = INT32_MIN;
constexpr int64_t kMax = INT32_MAX;
const Value kValues[] = {
    {"-2147483648", kMin},
    {"-1", -1},
    {"0", 0},
    {"1", 1},
    {"2147483647", kMax},
    {"2147483648", kMin},  // the lowest 32 bits
    {"4294967297", 1},
    {"9223372036854775807", -1},
    {"30.7", 30},
    {"-0.9", 0},
    {"1e308", kMax},
    {"-1e308", kMin},
    {"\"30\"", 0},
    {"\"\"", 0},
    {"\"a\\nb\"", 0},
    {"null", std::nullopt},
    {"true", std::nullopt},
    {"[]", std::nullopt},
    {"[1,2]", std::nullopt},
    {"{\"a\":1}", std::nullopt},
};

// The limits of a run by the settings' names.
std::map<std::string, int64_t> ByName(const Limits& limits) {
  return {
      {"flush_time", limits.schedule.flushInterval},
      {"pause_time", limits.schedule.pauseInterval},
      {"send_threshold", limits.schedule.sendThreshold},
      {"max_record_size", limits.maxRecordSize},
      {"max_memory_size", limits.maxMemorySize},
      {"max_cache_size", limits.maxCacheFiles},
      {"resend_time", limits.schedule.resendTime},
      {"resend_delta", limits.schedule.resendDelta},
      {"max_event_per_minute", limits.rate.perMinute},
      {"max_event_per_hour", limits.rate.perHour},
      {"terminate_time", limits.terminateTime},
  };
}

class SettingsMatrixTest : public SessionManagerTest {
 protected:
  SettingsMatrixTest() { SetEnvironment("TAV_CONFIGURATOR", server_.Url().c_str()); }

  // A run that fetches the answer.
  void Fetch(const std::string& answer) {
    folder_.PutClientStamp();  // the settings were not requested today
    std::filesystem::remove(folder_.Path("TavData"));
    server_.EnqueueStatus("200 OK", answer);
    Run({});
  }
  // What the next run finds.
  std::unique_ptr<ConfigManager> Stored() const {
    auto manager = std::make_unique<ConfigManager>(ProductIdentity{"Product", "1.0", kPlatform});
    PersistentStorage storage;
    storage.Open(PersistentStorage::Access::Read);
    manager->LoadFromStorage(&storage);
    return manager;
  }
  // How many of three events a run with the stored settings sends.
  size_t SentOfThree() {
    folder_.PutClientStamp();
    const size_t before = Sent();
    Run({"a", "b", "c"});
    return Sent() - before;
  }
  static size_t Sent() {
    const Names events = Gateway::Events();
    return static_cast<size_t>(
        std::ranges::count_if(events, [](const std::string& name) { return name[0] != '$'; }));
  }

  LoopbackServer server_;
};

// With a clock that is stepped: whatever the limits are, what waits is sent and flushed in time.
void CheckSchedule(const Limits& limits) {
  constexpr int64_t kDay = 86400;
  SendSchedule schedule;
  schedule.Tune(limits.schedule);
  Now now{MonotonicTime(1000), 1'700'000'000};
  const auto stepUntil = [&](auto reached, int64_t bound) {
    const MonotonicTime begin = now.monotonic;
    schedule.CheckTimers(now);
    while (!reached()) {
      const int timeout = schedule.ComputeTimeout(now);
      ASSERT_TRUE(timeout >= 0 && timeout <= kDay);
      now.monotonic = now.monotonic + std::max(timeout, 1);
      schedule.CheckTimers(now);
      ASSERT_LE(now.monotonic - begin, bound + 1);
    }
  };
  schedule.OnFirstPending(now);
  ASSERT_NO_FATAL_FAILURE(
      stepUntil([&] { return schedule.IsDue(false); }, limits.schedule.pauseInterval));
  for (int failures = 0; failures < 4; ++failures) {
    schedule.OnSendFailure(now);
    schedule.OnSendDone();
    ASSERT_FALSE(schedule.IsDue(false));
    ASSERT_NO_FATAL_FAILURE(
        stepUntil([&] { return schedule.IsDue(false); },
                  limits.schedule.resendTime + int64_t{limits.schedule.resendDelta} * failures));
  }
  schedule.OnFirstPending(now);
  ASSERT_NO_FATAL_FAILURE(
      stepUntil([&] { return schedule.FlushExpired(); }, limits.schedule.flushInterval));
}

TEST(SettingsPageTest, TheTableHasEveryNumber) {
  EXPECT_EQ(ReadPage().size(), 12U);
}

class SettingTest : public SettingsMatrixTest, public testing::WithParamInterface<Row> {};

TEST_P(SettingTest, EveryValueIsUsedAsThePageSays) {
  const Row& row = GetParam();
  for (const Value& value : kValues) {
    const std::string answer = "{\"" + row.name + "\":" + value.json + "}";
    SCOPED_TRACE(answer);
    Fetch(answer);
    const std::unique_ptr<ConfigManager> stored = Stored();
    EXPECT_FALSE(stored->IsChanged(ParseSettings(answer).value())) << "stored as it was sent";
    const Limits limits = ResolveLimits(config_, *stored);
    const int64_t used = std::clamp(value.read.value_or(row.defaultValue), row.min, row.max);
    std::map<std::string, int64_t> byName = ByName(limits);
    byName["disabled"] = stored->GetNumber("disabled", 0);
    ASSERT_TRUE(byName.contains(row.name));
    EXPECT_EQ(byName[row.name], used);
    ASSERT_NO_FATAL_FAILURE(CheckSchedule(limits));
    const bool disables = row.name == "disabled" && used != 0;
    const bool limitsRate = row.name.starts_with("max_event_per") && used == 1;
    EXPECT_EQ(SentOfThree(), disables || limitsRate ? 0U : 3U);
  }
}

INSTANTIATE_TEST_SUITE_P(Page, SettingTest, testing::ValuesIn(ReadPage()), [](const auto& row) {
  return row.param.name;
});

class OtherMemberTest : public SettingsMatrixTest,
                        public testing::WithParamInterface<const char*> {};

TEST_P(OtherMemberTest, IsStoredOrIgnored) {
  for (const Value& value : kValues) {
    const std::string answer = std::string("{\"") + GetParam() + "\":" + value.json + "}";
    SCOPED_TRACE(answer);
    Fetch(answer);
    EXPECT_EQ(Stored()->GetNumberInRange(Setting::kFlushTime), 360);
    EXPECT_EQ(SentOfThree(), 3U);
  }
}

INSTANTIATE_TEST_SUITE_P(
    All,
    OtherMemberTest,
    testing::Values("inhibit", "gateway", "connect_time", "no such setting", ""));

// Answers that are made to cost memory, stack or time. A run with each of them starts, sends and
// ends, and its settings are bounded.
TEST_F(SettingsMatrixTest, AnswersOfHostileSizeHarmNoRun) {
  const auto nested = [](size_t depth) {
    return R"({"flush_time":120,"a":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
  };
  const auto names = [](size_t count) {
    std::string text = R"({"flush_time":120,"inhibit":[)";
    for (size_t i = 0; i < count; ++i) {
      text += (i == 0 ? "\"n" : ",\"n") + std::to_string(i) + '"';
    }
    return text + "]}";
  };
  std::string manySettings = R"({"flush_time":120)";
  for (int i = 0; i < 15000; ++i) {
    manySettings += ",\"s" + std::to_string(i) + "\":" + std::to_string(i);
  }
  const std::pair<std::string, int> cases[] = {
      // The answer, and the flush time that is then in force.
      {nested(63), 120},
      {nested(64), 360},  // with the object 65 levels
      {nested(100'000), 360},
      {std::string(200'000, '['), 360},
      {std::string(120'000, '{'), 360},
      {names(10'000), 120},
      {names(10'001), 120},
      {names(25'000), 120},
      {names(100'000), 360},  // more than 256 KB
      {manySettings + "}", 120},
      {R"({"flush_time":120,"gateway":")" + std::string(200'000, 'x') + "\"}", 120},
      {R"({"flush_time":120,")" + std::string(200'000, 'k') + "\":1}", 120},
      {R"({"flush_time":120,"resend_time":)" + std::string(200'000, '9') + "}", 360},
      {R"({"flush_time":120,"resend_time":1e999})", 360},
      {R"({"flush_time":120,"resend_time":0.)" + std::string(900, '1') + "}", 120},
      {R"({"flush_time":120,"flush_time":130})", 360},
      {R"({"flush_time":120,"a":"\u0000"})", 360},
      {"{\"flush_time\":120,\"a\":\"\xFF\"}", 360},
      {"[{\"flush_time\":120}]", 360},
      {"\"flush_time\"", 360},
      {R"({"flush_time":120)", 360},
      {"", 360},
  };
  for (const auto& [answer, flushTime] : cases) {
    SCOPED_TRACE(answer.substr(0, 60));
    Fetch(answer);
    const std::unique_ptr<ConfigManager> stored = Stored();
    EXPECT_EQ(stored->GetNumberInRange(Setting::kFlushTime), flushTime);
    EXPECT_FALSE(stored->IsInhibited("n10000"));
    EXPECT_EQ(SentOfThree(), 3U);
  }
}

}  // namespace
}  // namespace Tav::Testing
