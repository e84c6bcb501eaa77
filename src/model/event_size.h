// Size estimates that keep events and records within their limits: about as many characters as the
// compact JSON will take, without serialising it. They decide where records are cut and which
// additions are refused, so the amounts must not change.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "util/json.h"

namespace Tav {

inline constexpr size_t StringPairSize(std::string_view key, std::string_view value) {
  return key.size() + value.size() + 6;
}
inline constexpr size_t IntegerPairSize(std::string_view key, int64_t value) {
  return key.size() + (value < 1000 ? 6 : 11);
}
inline constexpr size_t RealPairSize(std::string_view key, double value) {
  return key.size() + (value < 1000.0 ? 7 : 14);
}

// For adding an empty object or array to a container, under `name` unless that is empty.
inline constexpr size_t EmptyContainerSize(std::string_view name) {
  return (name.empty() ? 2 : name.size() + 5) + 2;
}

// For adding `value` to a container, under `name` unless that is empty. The members of an object or
// array are not counted.
size_t EstimateAdded(std::string_view name, const json_t* value);

// Process-wide limits. Set when a session manager starts, read on the host's threads.
namespace EventSize {

inline constexpr int kDefaultMaximum = 100000;

// Bytes that an event may reach before further additions are refused.
int Maximum();
void SetMaximum(int bytes);

// Bytes that the session environment will add to each event that carries it.
void SetSessionEnvironment(uint32_t bytes);

// The estimate for a new event: its fixed members, its name and, when it will carry it, the session
// environment.
uint32_t Initial(std::string_view name, bool carriesSessionEnvironment);

}  // namespace EventSize

}  // namespace Tav
