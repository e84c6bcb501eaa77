// A temporary LOCALAPPDATA for a test, with a storage directory in it. Its name contains the
// process id, since several test processes run at once, and characters that no ANSI code page can
// represent. One object at a time.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/clock.h"
#include "platform/process.h"
#include "platform/set_environment.h"
#include "storage/persistent_storage.h"
#include "support/captured_log.h"
#include "util/storage_directory.h"

namespace Tav::Testing {

inline constexpr char kPlatform[] = "wntx64";  // of the products in tests

class StorageFolder {
 public:
  StorageFolder() {
    base_ += std::to_string(Platform::ProcessId());
    std::filesystem::remove_all(base_);
    std::filesystem::create_directories(Path(""));
    SetEnvironment("LOCALAPPDATA", Utf8(base_).c_str());
    PersistentStorage::SetAlternatePS("");
    ForgetStorageDirectory();
  }
  ~StorageFolder() {
    PersistentStorage::SetAlternatePS("");
    ForgetStorageDirectory();
    SetEnvironment("LOCALAPPDATA", before_.c_str());
    std::error_code ignored;
    std::filesystem::remove_all(base_, ignored);
  }
  StorageFolder(const StorageFolder&) = delete;
  StorageFolder& operator=(const StorageFolder&) = delete;

  // The folder itself, and a path in the storage directory.
  const std::filesystem::path& Base() const { return base_; }
  std::filesystem::path Path(const char* name) const { return base_ / "Quendel" / "Tav" / name; }
  void Put(const char* name, const std::string& contents) const {
    std::ofstream(Path(name), std::ios::binary) << contents;
  }
  std::string Contents(const char* name) const {
    std::ifstream file(Path(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  // Stores that the machine was described today. Otherwise a run would send a description at an
  // unpredictable moment.
  void PutClientStamp() const {
    const int64_t today = Platform::UnixMilliseconds() / 86'400'000;
    Put("TsTavData", R"({"Products": [], "LastClientQuery": )" + std::to_string(today) + ".0}");
  }

  static std::string Utf8(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
  }

 private:
  const std::string before_ = Platform::Environment("LOCALAPPDATA").value_or("");
  std::filesystem::path base_ =
      std::filesystem::temp_directory_path() / u8"tav_storage_J\u00F6_\u6570\u0416";
};

}  // namespace Tav::Testing
