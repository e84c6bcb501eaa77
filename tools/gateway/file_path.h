// Paths of the command line, which are UTF-8 on every system.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace Gateway {

// On Windows a path made of std::string would be read in the ANSI code page.
inline std::filesystem::path FilePath(std::string_view utf8) {
  return {std::u8string(utf8.begin(), utf8.end())};
}

inline std::string Utf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

}  // namespace Gateway
