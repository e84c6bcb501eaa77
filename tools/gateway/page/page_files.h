// The files of the page, which are part of the program.
#pragma once

#include <optional>
#include <string_view>

namespace Gateway {

struct StaticFile {
  std::string_view bytes;
  std::string_view contentType;  // "text/html; charset=utf-8"
  std::string_view etag;         // with its quotes; depends on the bytes only
};

// The file at `path`: "/" is the page itself, the others are under "/page/". Nothing if there is
// none. Any thread.
std::optional<StaticFile> FindPageFile(std::string_view path);

// Whether a GET of `path` asks for the page. At "/" the library asks whether the gateway is up and
// accepts text/*; a browser's Accept header names text/html.
bool IsForBrowser(std::string_view path, std::string_view accept);

}  // namespace Gateway
