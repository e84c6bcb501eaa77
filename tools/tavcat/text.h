// Formatting for people, and JSON read and written as the library does it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "util/json.h"

namespace Tavcat {

// "1 event", "2 events".
std::string Counted(size_t count, std::string_view noun);
// A byte as "0x1C".
std::string Hex(char byte);
// Seconds since 1970 as "2026-01-01 00:00:00 UTC", days since 1970 as "2026-01-01"; empty outside
// the years 1970 to 9999.
std::string MomentText(int64_t seconds);
std::string DateText(double day);
// Escapes control characters and those that change the writing direction as \uXXXX, which means the
// same in JSON, and bytes that are not UTF-8 as \xXX.
std::string Escape(std::string_view text);

// Null, with the reason in `error`, for what the library's JsonInputStream rejects.
Tav::JsonPtr ParseJson(std::string_view text, std::string& error);
// Compact JSON text.
std::string JsonText(const json_t* value);

}  // namespace Tavcat
