#include "model/event_size.h"

#include <atomic>

namespace Tav::EventSize {

namespace {

constinit std::atomic<int> maximum{kDefaultMaximum};
constinit std::atomic<uint32_t> sessionEnvironment{0};

// A time stamp with an offset, "2021-03-04T10:11:12.345+01:00", and a session id.
constexpr size_t kTimeStampLength = 29;
constexpr size_t kSessionIdLength = 36;

// The members "t" and "s"; the name's one-letter key is counted with the name.
constexpr size_t kFixedMembers = (1 + kTimeStampLength + 6) + (1 + kSessionIdLength + 6);
constexpr size_t kNamePair = 1 + 6;

}  // namespace

int Maximum() {
  return maximum.load(std::memory_order_relaxed);
}

void SetMaximum(int bytes) {
  maximum.store(bytes, std::memory_order_relaxed);
}

uint32_t SessionEnvironment() {
  return sessionEnvironment.load(std::memory_order_relaxed);
}

void SetSessionEnvironment(uint32_t bytes) {
  sessionEnvironment.store(bytes, std::memory_order_relaxed);
}

uint32_t Initial(std::string_view name, bool carriesSessionEnvironment) {
  return static_cast<uint32_t>(kFixedMembers + kNamePair + name.size()) +
         (carriesSessionEnvironment ? SessionEnvironment() : 0);
}

}  // namespace Tav::EventSize
