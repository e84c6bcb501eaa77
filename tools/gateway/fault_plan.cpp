#include "gateway/fault_plan.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "gateway/value_checks.h"

namespace Gateway {
namespace {

constexpr json_int_t kMaxCount = 1'000'000'000;
constexpr json_int_t kMaxDelay = 600'000;

constexpr std::pair<std::string_view, FaultKind> kKinds[] = {
    {"status", FaultKind::Status},
    {"delay", FaultKind::Delay},
    {"hang", FaultKind::Hang},
    {"drop", FaultKind::Drop},
};

std::string_view KindName(FaultKind kind) {
  return std::ranges::find(kKinds, kind, &std::pair<std::string_view, FaultKind>::second)->first;
}

// Reads a whole number from `low` to `high`; false if the value is anything else.
bool ReadNumber(const json_t* value, json_int_t low, json_int_t high, json_int_t& number) {
  number = json_integer_value(value);
  return json_is_integer(value) && number >= low && number <= high;
}

// Stores one member in the fault. Returns what is wrong with it; empty if nothing is.
std::string ReadMember(std::string_view key, const json_t* value, Fault& fault) {
  json_int_t number = 0;
  if (key == "kind") {
    return {};
  }
  if (key == "count") {
    if (!ReadNumber(value, 1, kMaxCount, number)) {
      return "\"count\" must be a whole number from 1 on";
    }
    fault.count = number;
    return {};
  }
  if (key == "status" && fault.kind == FaultKind::Status) {
    // 1xx answers are not final: the client would go on waiting.
    if (!ReadNumber(value, 200, 599, number)) {
      return "\"status\" must be a whole number from 200 to 599";
    }
    fault.status = static_cast<int>(number);
    return {};
  }
  if (key == "milliseconds" && fault.kind == FaultKind::Delay) {
    if (!ReadNumber(value, 0, kMaxDelay, number)) {
      return "\"milliseconds\" must be a whole number from 0 to " + std::to_string(kMaxDelay);
    }
    fault.delay = std::chrono::milliseconds(number);
    return {};
  }
  if (key == "store" && fault.kind != FaultKind::Delay) {
    fault.store = json_is_true(value);
    return json_is_boolean(value) ? std::string() : "\"store\" must be true or false";
  }
  return Quoted(key) + " is not known for the kind " + Quoted(KindName(fault.kind));
}

std::optional<Fault> ParseFault(const json_t* value, std::string& error) {
  if (!json_is_object(value)) {
    error = "a fault must be an object";
    return std::nullopt;
  }
  const std::string_view name = TextOf(json_object_get(value, "kind"));
  const auto* kind =
      std::ranges::find(kKinds, name, &std::pair<std::string_view, FaultKind>::first);
  if (kind == std::end(kKinds)) {
    error = R"("kind" must be "status", "delay", "hang" or "drop")";
    return std::nullopt;
  }
  Fault fault;
  fault.kind = kind->second;
  ForEachMember(value, [&](std::string_view key, const json_t* member) {
    error = error.empty() ? ReadMember(key, member, fault) : error;
  });
  if (error.empty() && fault.kind == FaultKind::Delay &&
      json_object_get(value, "milliseconds") == nullptr) {
    error = "\"milliseconds\" is missing";
  }
  return error.empty() ? std::optional(fault) : std::nullopt;
}

std::string DescribeFault(const Fault& fault) {
  std::string text = "{\"kind\":" + QuoteJson(KindName(fault.kind));
  if (fault.kind == FaultKind::Status) {
    text += ",\"status\":" + std::to_string(fault.status);
  }
  if (fault.kind == FaultKind::Delay) {
    text += ",\"milliseconds\":" + std::to_string(fault.delay.count());
  }
  if (fault.store) {
    text += ",\"store\":true";
  }
  return text + ",\"count\":" + std::to_string(fault.count) + '}';
}

}  // namespace

std::optional<std::vector<Fault>> ParseFaults(const json_t* value, std::string& error) {
  error.clear();
  std::vector<Fault> faults;
  const std::size_t count = json_is_array(value) ? json_array_size(value) : 1;
  for (std::size_t i = 0; i < count; ++i) {
    const auto fault = ParseFault(json_is_array(value) ? json_array_get(value, i) : value, error);
    if (!fault) {
      return std::nullopt;
    }
    faults.push_back(*fault);
  }
  return faults;
}

void FaultPlan::Append(const std::vector<Fault>& faults) {
  const std::scoped_lock guard(lock_);
  queue_.insert(queue_.end(), faults.begin(), faults.end());
}

std::optional<Fault> FaultPlan::Take() {
  const std::scoped_lock guard(lock_);
  if (queue_.empty()) {
    return std::nullopt;
  }
  const Fault fault = queue_.front();
  if (--queue_.front().count == 0) {
    queue_.pop_front();
  }
  return fault;
}

void FaultPlan::Clear() {
  const std::scoped_lock guard(lock_);
  queue_.clear();
}

std::string FaultPlan::Describe() const {
  const std::scoped_lock guard(lock_);
  std::string out = "[";
  for (const Fault& fault : queue_) {
    out += out.size() > 1 ? "," : "";
    out += DescribeFault(fault);
  }
  return out += ']';
}

std::string FaultText(const Fault& fault) {
  std::string text(KindName(fault.kind));
  if (fault.kind == FaultKind::Status) {
    text += ' ' + std::to_string(fault.status);
  }
  if (fault.kind == FaultKind::Delay) {
    text += ' ' + std::to_string(fault.delay.count()) + " ms";
  }
  return text + (fault.store ? ", record stored" : "");
}

}  // namespace Gateway
