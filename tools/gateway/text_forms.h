// The fixed text forms that a record uses. Pure functions.
#pragma once

#include <string_view>

namespace Gateway {

// YYYY-MM-DDThh:mm:ss.mmm followed by Z or by an offset like +01:00; the date must exist.
bool IsTimeStamp(std::string_view text);

// A UUID as 8-4-4-4-12 lower-case hexadecimal digits.
bool IsSessionId(std::string_view text);

// Four decimal numbers with dots between them.
bool IsLibraryVersion(std::string_view text);

}  // namespace Gateway
