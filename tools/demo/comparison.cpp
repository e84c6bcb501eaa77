#include "demo/comparison.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "gateway/json_text.h"
#include "gateway/object_shape.h"

namespace Demo {
namespace {

using Gateway::DumpJson;
using Gateway::ForEachMember;
using Gateway::TextOf;

constexpr std::size_t kMaxFindings = 10;
constexpr const char* kSerial = "Seq";

struct HandedOver {
  int sitting = 0;
  std::size_t thread = 0;
  const json_t* event = nullptr;
  const json_t* sessionEnvironment = nullptr;
  std::size_t timesArrived = 0;
};

// A whole number, whether it is written with a fraction or not.
std::optional<json_int_t> SerialOf(const json_t* properties) {
  const json_t* serial = json_object_get(properties, kSerial);
  if (!json_is_number(serial)) {
    return std::nullopt;
  }
  return static_cast<json_int_t>(json_number_value(serial));
}

bool IsSameValue(const json_t* handedOver, const json_t* arrived) {
  if (json_is_number(handedOver) && json_is_number(arrived)) {
    return json_number_value(handedOver) == json_number_value(arrived);
  }
  return json_is_string(handedOver) && json_is_string(arrived) &&
         TextOf(handedOver) == TextOf(arrived);
}

// An absent object counts as one without members.
bool IsSameObject(const json_t* handedOver, const json_t* arrived) {
  bool isSame = json_object_size(handedOver) == json_object_size(arrived);
  if (json_is_object(handedOver)) {
    ForEachMember(handedOver, [&](std::string_view key, const json_t* value) {
      const json_t* other = json_object_getn(arrived, key.data(), key.size());
      isSame = isSame && other != nullptr && IsSameValue(value, other);
    });
  }
  return isSame;
}

class Comparer {
 public:
  bool ReadReport(const json_t* report, std::string& error);
  bool ReadArrival(const json_t* entry);
  Comparison Finish();

 private:
  std::size_t ThreadNumber(std::size_t firstOfReport, std::string_view name);
  void CompareWith(HandedOver& handedOver, json_int_t serial, const json_t* arrived);
  void Find(const char* what, json_int_t serial, const std::string& detail);

  std::map<json_int_t, HandedOver> expected_;
  std::vector<json_int_t> lastOfThread_;
  Comparison result_;
};

// Each run has threads of its own, whatever their names.
std::size_t Comparer::ThreadNumber(std::size_t firstOfReport, std::string_view name) {
  const auto begin = result_.threads.begin() + static_cast<std::ptrdiff_t>(firstOfReport);
  const auto found = std::find(begin, result_.threads.end(), name);
  if (found != result_.threads.end()) {
    return static_cast<std::size_t>(found - result_.threads.begin());
  }
  result_.threads.emplace_back(name);
  lastOfThread_.push_back(-1);
  return result_.threads.size() - 1;
}

bool Comparer::ReadReport(const json_t* report, std::string& error) {
  const json_t* events = json_object_get(report, "events");
  const json_t* sessionEnvironment = json_object_get(report, "session_environment");
  const auto sitting = static_cast<int>(json_integer_value(json_object_get(report, "sitting")));
  const std::size_t firstThread = result_.threads.size();
  for (std::size_t i = 0; i < json_array_size(events); ++i) {
    const json_t* event = json_array_get(events, i);
    const auto serial = SerialOf(json_object_get(event, "properties"));
    if (!serial) {
      error = "the host's report has an event without a serial number: " + DumpJson(event);
      return false;
    }
    const std::size_t thread = ThreadNumber(firstThread, TextOf(json_object_get(event, "thread")));
    if (!expected_.try_emplace(*serial, HandedOver{sitting, thread, event, sessionEnvironment})
             .second) {
      error = "the host reports serial number " + std::to_string(*serial) + " twice";
      return false;
    }
    ++result_.byName[std::string(TextOf(json_object_get(event, "name")))].handedOver;
  }
  const json_int_t total = json_integer_value(json_object_get(report, "total"));
  if (!json_is_array(events) || static_cast<std::size_t>(total) != json_array_size(events)) {
    error = "the host's report does not hold as many events as it says";
    return false;
  }
  result_.bySitting[sitting].handedOver += json_array_size(events);
  result_.handedOver = expected_.size();
  return true;
}

void Comparer::Find(const char* what, json_int_t serial, const std::string& detail) {
  if (result_.findings.size() < kMaxFindings) {
    result_.findings.push_back(std::string(what) + ": serial " + std::to_string(serial) + ", " +
                               detail);
  }
}

// One entry of the gateway's list.
bool Comparer::ReadArrival(const json_t* entry) {
  const json_t* event = json_object_get(entry, "event");
  if (!json_is_object(event)) {
    return false;
  }
  if (json_object_get(event, "g") != nullptr) {
    ++result_.marks;
    return true;
  }
  ++result_.arrived;
  ++result_.byName[std::string(TextOf(json_object_get(event, "m")))].arrived;
  const json_int_t serial = SerialOf(json_object_get(event, "v")).value_or(-1);
  const auto found = expected_.find(serial);
  if (found == expected_.end()) {
    ++result_.unknown;
    Find("not handed over", serial, DumpJson(event));
    return true;
  }
  CompareWith(found->second, serial, event);
  return true;
}

void Comparer::CompareWith(HandedOver& handedOver, json_int_t serial, const json_t* arrived) {
  ++result_.bySitting[handedOver.sitting].arrived;
  if (++handedOver.timesArrived > 1) {
    ++result_.doubled;
    Find("doubled", serial, DumpJson(arrived));
    return;
  }
  if (TextOf(json_object_get(handedOver.event, "name")) != TextOf(json_object_get(arrived, "m")) ||
      !IsSameObject(json_object_get(handedOver.event, "properties"),
                    json_object_get(arrived, "v")) ||
      !IsSameObject(handedOver.sessionEnvironment, json_object_get(arrived, "se"))) {
    ++result_.altered;
    Find("altered", serial, DumpJson(handedOver.event) + " arrived as " + DumpJson(arrived));
  }
  json_int_t& last = lastOfThread_[handedOver.thread];
  if (serial < last) {
    ++result_.outOfOrder;
    Find("out of order", serial, "behind " + std::to_string(last));
  }
  last = std::max(last, serial);
}

Comparison Comparer::Finish() {
  for (const auto& [serial, handedOver] : expected_) {
    if (handedOver.timesArrived == 0) {
      ++result_.lost;
      Find("lost", serial, DumpJson(handedOver.event));
    }
  }
  return std::move(result_);
}

}  // namespace

std::optional<Comparison> Compare(std::span<const json_t* const> reports,
                                  const json_t* events,
                                  std::string& error) {
  Comparer comparer;
  for (const json_t* report : reports) {
    if (!comparer.ReadReport(report, error)) {
      return std::nullopt;
    }
  }
  if (!json_is_array(events)) {
    error = "the gateway's events are no list";
    return std::nullopt;
  }
  for (std::size_t i = 0; i < json_array_size(events); ++i) {
    if (!comparer.ReadArrival(json_array_get(events, i))) {
      error = "the gateway lists something that is no event";
      return std::nullopt;
    }
  }
  return comparer.Finish();
}

}  // namespace Demo
