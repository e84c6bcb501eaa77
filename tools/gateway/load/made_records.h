// Records of a made-up month: two products, two thousand endpoints, sessions of two records each.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "gateway/record_reader.h"

namespace Gateway {

inline constexpr int kEventsPerRecord = 20;
inline constexpr std::int64_t kMadeStart = 1'790'812'800'000;  // 1 October 2026, ms
inline constexpr int kMadeDays = 30;

// The text of record `number` of `count`; the same for the same arguments.
std::string MadeRecord(std::int64_t number, std::int64_t count);
// The same, read and checked, with its rows.
std::shared_ptr<const Record> ReadMadeRecord(std::int64_t number, std::int64_t count);

}  // namespace Gateway
