// Expanding the gzip bodies of records, within bounds.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Gateway {

struct Expansion {
  std::string text;   // what could be expanded, also when `error` says that it is not all
  std::string error;  // empty on success
};

// Expands one gzip member. More than `limit` bytes of text, a damaged or cut stream, and bytes
// after its end are errors.
Expansion ExpandGzip(std::string_view body, std::size_t limit);

// Whether the body opens with the two magic bytes of gzip.
bool LooksLikeGzip(std::string_view body);

}  // namespace Gateway
