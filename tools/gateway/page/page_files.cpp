#include "gateway/page/page_files.h"

namespace Gateway {

// No file is embedded yet.
std::optional<StaticFile> FindPageFile(std::string_view) {
  return std::nullopt;
}

}  // namespace Gateway
