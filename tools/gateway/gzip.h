// Expands gzip bodies, up to a given size.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Gateway {

struct Expansion {
  std::string text;   // as much as could be expanded, also after an error
  std::string error;  // empty on success
};

// Expands one gzip member. Errors are: more than `limit` bytes of text, a damaged or truncated
// stream, bytes after its end.
Expansion ExpandGzip(std::string_view body, std::size_t limit);

// Whether the body begins with the two magic bytes of gzip.
bool LooksLikeGzip(std::string_view body);

}  // namespace Gateway
