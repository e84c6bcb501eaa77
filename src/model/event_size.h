// The size estimates that keep events and records within their limits: the characters that compact
// JSON will take, near enough and without serialising. The amounts decide where records are cut and
// which additions are refused, so they do not change.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

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

// Process-wide limits, set when a session manager starts and read on the hosts' threads.
namespace EventSize {

inline constexpr int kDefaultMaximum = 100000;

// Bytes an event may reach before further additions are refused.
int Maximum();
void SetMaximum(int bytes);

// What the session environment will add to each event that carries it.
uint32_t SessionEnvironment();
void SetSessionEnvironment(uint32_t bytes);

// A new event's estimate: its fixed members and its name; with the session environment when the
// event will carry it.
uint32_t Initial(std::string_view name, bool carriesSessionEnvironment);

}  // namespace EventSize

}  // namespace Tav
