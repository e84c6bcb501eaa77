#include "gateway/page/page_files.h"

#include <cstddef>
#include <map>
#include <string>

#include "gateway/digest.h"

// Defined by page_files.S, which the build writes: the files' names and where their bytes are.
extern "C" {
struct GatewayPageEntry {
  const char* name;
  const char* begin;
  const char* end;
};
extern const GatewayPageEntry kGatewayPageEntries[];  // ends with a name that is null
}

namespace Gateway {
namespace {

constexpr std::string_view kRoot = "/";
constexpr std::string_view kPrefix = "/page/";
constexpr std::string_view kIndex = "index.html";
constexpr std::size_t kEtagDigits = 32;

struct EmbeddedFile {
  std::string_view bytes;
  std::string_view contentType;
  std::string etag;
};
using FilesByName = std::map<std::string_view, EmbeddedFile>;

std::string_view TypeOf(std::string_view name) {
  if (name.ends_with(".js")) {
    return "text/javascript; charset=utf-8";
  }
  if (name.ends_with(".css")) {
    return "text/css; charset=utf-8";
  }
  return name.ends_with(".svg") ? "image/svg+xml" : "text/html; charset=utf-8";
}

FilesByName ReadEntries() {
  FilesByName files;
  for (const GatewayPageEntry* entry = kGatewayPageEntries; entry->name != nullptr; ++entry) {
    const std::string_view name = entry->name;
    const std::string_view bytes(entry->begin, static_cast<std::size_t>(entry->end - entry->begin));
    files[name] = {bytes, TypeOf(name), '"' + Sha256Hex(bytes).substr(0, kEtagDigits) + '"'};
  }
  return files;
}

}  // namespace

std::optional<StaticFile> FindPageFile(std::string_view path) {
  static const FilesByName files = ReadEntries();
  std::string_view name = path == kRoot ? kIndex : std::string_view();
  if (path.starts_with(kPrefix)) {
    name = path.substr(kPrefix.size());
  }
  const auto found = files.find(name);
  if (found == files.end()) {
    return std::nullopt;
  }
  const EmbeddedFile& file = found->second;
  return StaticFile{file.bytes, file.contentType, file.etag};
}

bool IsForBrowser(std::string_view path, std::string_view accept) {
  return path != kRoot || accept.find("text/html") != std::string_view::npos;
}

}  // namespace Gateway
