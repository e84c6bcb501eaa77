// A folder of its own for the cache of one test case, with a clock that stands still.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "cache/cache_manager.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "support/captured_log.h"

namespace Tav::Testing {

using Texts = std::vector<std::string>;

inline std::unique_ptr<BuiltRecord> RecordOf(const std::string& text) {
  auto record = std::make_unique<BuiltRecord>();
  record->bytes.assign(text.begin(), text.end());
  return record;
}

inline RecordList RecordsOf(const Texts& texts) {
  RecordList records;
  for (const std::string& text : texts) {
    records.Append(RecordOf(text));
  }
  return records;
}

inline Texts TextsOf(const RecordList& records) {
  Texts texts;
  for (const BuiltRecord* record = records.First(); record; record = record->next.get()) {
    texts.emplace_back(record->bytes.begin(), record->bytes.end());
  }
  return texts;
}

inline std::string Chunk(const std::string& payload) {
  std::string chunk = "\x1C";
  for (size_t i = 0, rest = payload.size(); i < 3; ++i, rest >>= 8) {
    chunk += static_cast<char>(rest & 0xFF);
  }
  return chunk + payload + '\x1D';
}

class CacheTest : public testing::Test {
 protected:
  static constexpr char kPrefix[] = "TavCache_0001AAD5_";  // of "p1" and "v"

  CacheTest() {
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
    now = Platform::UnixMilliseconds() / 1000;
  }
  ~CacheTest() override { std::filesystem::remove_all(folder_); }

  // What GetStorageDirectory would say.
  std::string Folder() const {
    const std::u8string path = folder_.u8string();
    return std::string(path.begin(), path.end());
  }
  static std::string Name(int sequence) {
    const std::string digits = std::to_string(sequence);
    return kPrefix + std::string(4 - digits.size(), '0') + digits;
  }
  std::string PathOf(int sequence) const {
    return Folder() + static_cast<char>(std::filesystem::path::preferred_separator) +
           Name(sequence);
  }
  CacheManager Manager(uint32_t maxFiles = 50, uint32_t maxFileSize = 1048576) const {
    return CacheManager(Folder(), "p1", "v", maxFiles, maxFileSize, [] { return now; });
  }

  void Put(const std::string& name, const std::string& contents) const {
    std::ofstream(folder_ / name, std::ios::binary) << contents;
  }
  std::string Contents(const std::string& name) const {
    std::ifstream file(folder_ / name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }
  bool Exists(const std::string& name) const { return std::filesystem::exists(folder_ / name); }
  void SetModified(const std::string& name, int64_t secondsSince1970) const {
    const std::chrono::sys_seconds time{std::chrono::seconds(secondsSince1970)};
    std::filesystem::last_write_time(folder_ / name, std::chrono::file_clock::from_sys(time));
  }
  void SetReadOnly(const std::string& name, bool readOnly) const {
    using std::filesystem::perms;
    std::filesystem::permissions(folder_ / name, readOnly ? perms::owner_read | perms::group_read
                                                          : perms::owner_read | perms::owner_write);
  }
  Texts Names() const {
    Texts names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  // Everything a new manager finds.
  Texts LoadAll() const {
    RecordList records;
    Manager().Load(records);
    return TextsOf(records);
  }

  static inline int64_t now = 0;
  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() /
      (u8"tav_c\u00E4che_\u6570_" + ToUtf8Digits(Platform::ProcessId()));

 private:
  static std::u8string ToUtf8Digits(int number) {
    const std::string digits = std::to_string(number);
    return std::u8string(digits.begin(), digits.end());
  }
};

}  // namespace Tav::Testing
