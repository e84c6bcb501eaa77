// A folder of this process, removed at the end of the test. Tests run in several processes at once,
// one test at a time in each. No ANSI code page can represent its name.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "platform/process.h"

namespace Tav::Testing {

inline std::string Utf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

class TempFolder {
 public:
  TempFolder() {
    root_ += std::to_string(Platform::ProcessId());
    std::filesystem::remove_all(root_);
    std::filesystem::create_directories(root_);
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& Root() const { return root_; }
  // The UTF-8 path of a file in the folder.
  std::string Path(const char* name) const { return Utf8(root_ / name); }

  void Put(const char* name, const std::string& contents) const {
    std::ofstream(root_ / name, std::ios::binary) << contents;
  }
  std::string Contents(const char* name) const {
    std::ifstream file(root_ / name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

 private:
  std::filesystem::path root_ =
      std::filesystem::temp_directory_path() / u8"tav_t\u00E9st_\u6570\u0416_";
};

}  // namespace Tav::Testing
