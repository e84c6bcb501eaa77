// The files of the page, which are part of the program.
#pragma once

#include <optional>
#include <string_view>

namespace Gateway {

struct StaticFile {
  std::string_view bytes;
  std::string_view contentType;  // "text/html; charset=utf-8"
};

// The file that the page's server has at `path`, for example "/" or "/live.js"; nothing if there is
// none. Any thread.
std::optional<StaticFile> FindPageFile(std::string_view path);

}  // namespace Gateway
