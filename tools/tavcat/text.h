// Texts for people, and JSON read and written as the library does it.
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
// A moment given in seconds since 1970 as "2026-01-01 00:00:00 UTC", a day since 1970 as
// "2026-01-01"; empty outside the years 1970 to 9999.
std::string MomentText(int64_t seconds);
std::string DateText(double day);
// The text with control characters, and those that turn the direction of writing, as \uXXXX, which
// in JSON means the same, and bytes that are no UTF-8 as \xXX.
std::string Harmless(std::string_view text);

// Null, and the reason in `error`, for what is no JSON; an object that names a key twice is none.
Tav::JsonPtr ParseJson(std::string_view text, std::string& error);
// Compact; a text stands in quotation marks.
std::string JsonText(const json_t* value);

}  // namespace Tavcat
