#include "model/event_size.h"

#include <atomic>

namespace Tav {

size_t EstimateAdded(std::string_view name, const json_t* value) {
  const size_t named = name.empty() ? 2 : name.size() + 5;
  switch (json_typeof(value)) {
    case JSON_STRING:
      return named + json_string_length(value) + 2;
    case JSON_INTEGER:
      return named + 3;
    case JSON_REAL:
      return named + 10;
    case JSON_TRUE:
    case JSON_NULL:
      return named + 4;
    case JSON_FALSE:
      return named + 5;
    case JSON_OBJECT:
    case JSON_ARRAY:
      return named + 2;
  }
  return named;
}

}  // namespace Tav

namespace Tav::EventSize {

namespace {

constinit std::atomic<int> maximum{kDefaultMaximum};
constinit std::atomic<uint32_t> sessionEnvironment{0};

// A time stamp with an offset, "2021-03-04T10:11:12.345+01:00", and a session id.
constexpr size_t kTimeStampLength = 29;
constexpr size_t kSessionIdLength = 36;

// The members "t" and "s". The one-letter key of the name is counted with the name.
constexpr size_t kFixedMembers = (1 + kTimeStampLength + 6) + (1 + kSessionIdLength + 6);
constexpr size_t kNamePair = 1 + 6;

}  // namespace

int Maximum() {
  return maximum.load(std::memory_order_relaxed);
}

void SetMaximum(int bytes) {
  maximum.store(bytes, std::memory_order_relaxed);
}

void SetSessionEnvironment(uint32_t bytes) {
  sessionEnvironment.store(bytes, std::memory_order_relaxed);
}

uint32_t Initial(std::string_view name, bool carriesSessionEnvironment) {
  const uint32_t environment =
      carriesSessionEnvironment ? sessionEnvironment.load(std::memory_order_relaxed) : 0;
  return static_cast<uint32_t>(kFixedMembers + kNamePair + name.size()) + environment;
}

}  // namespace Tav::EventSize
