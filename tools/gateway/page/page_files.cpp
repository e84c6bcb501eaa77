#include "gateway/page/page_files.h"

namespace Gateway {

// No file is embedded yet.
std::optional<StaticFile> FindPageFile(std::string_view) {
  return std::nullopt;
}

bool IsForBrowser(std::string_view path, std::string_view accept) {
  return path != "/" || accept.find("text/html") != std::string_view::npos;
}

}  // namespace Gateway
