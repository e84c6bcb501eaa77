#include "system/slot_fixture.h"

#include <algorithm>

namespace Tav::Testing {

namespace {

// Compact text in the members' order, numbers to fifteen digits. The text is made here, because on
// Windows the library in which jansson's memory is allocated is not the one that is tested.
std::string Text(const json_t* value) {
  constexpr size_t kFlags = JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(15);
  std::string text(json_dumpb(value, nullptr, 0, kFlags), '\0');
  json_dumpb(value, text.data(), text.size(), kFlags);
  return text;
}

size_t NumberOf(const std::string& session, Lines& sessions) {
  const auto known = std::find(sessions.begin(), sessions.end(), session);
  const auto number = static_cast<size_t>(known - sessions.begin()) + 1;
  if (known == sessions.end()) {
    sessions.push_back(session);
  }
  return number;
}

}  // namespace

Lines SlotTest::Told() {
  Lines lines;
  Lines sessions;
  const JsonPtr arrivals = AskGateway("api/events");
  size_t index = 0;
  json_t* arrival = nullptr;
  json_array_foreach(arrivals.Get(), index, arrival) {
    json_t* const event = json_object_get(arrival, "event");
    const std::string session(JsonStringView(json_object_get(event, "s")));
    json_object_del(event, "t");
    json_object_del(event, "s");
    lines.push_back(std::to_string(NumberOf(session, sessions)) + ' ' + Text(event));
  }
  EXPECT_EQ(GatewayCount("bad_records"), 0);
  EXPECT_EQ(GatewayCount("doubled_records"), 0);
  return lines;
}

std::vector<JsonPtr> SlotTest::Records() {
  std::vector<JsonPtr> records;
  const JsonPtr arrivals = AskGateway("api/records");
  size_t index = 0;
  json_t* arrival = nullptr;
  json_array_foreach(arrivals.Get(), index, arrival) {
    records.push_back(JsonPtr::Share(json_object_get(arrival, "record")));
  }
  EXPECT_EQ(GatewayCount("bad_records"), 0);
  return records;
}

std::string SlotTest::Member(const JsonPtr& record, const char* key) {
  json_t* const member = json_object_get(record.Get(), key);
  json_object_del(member, "t");
  return member == nullptr ? std::string() : Text(member);
}

}  // namespace Tav::Testing
