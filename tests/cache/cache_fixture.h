// The cache of one product in a folder of its own, with a fixed clock.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "cache/cache_file_name.h"
#include "cache/cache_manager.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "support/captured_log.h"
#include "support/storage_folder.h"

namespace Tav::Testing {

using Texts = std::vector<std::string>;

inline RecordList RecordsOf(const Texts& texts) {
  RecordList records;
  for (const std::string& text : texts) {
    auto record = std::make_unique<BuiltRecord>();
    record->bytes.assign(text.begin(), text.end());
    records.Append(std::move(record));
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

// Appends and expects success.
inline void Store(CacheManager& cache, const Texts& texts) {
  RecordList records = RecordsOf(texts);
  EXPECT_TRUE(cache.Append(records));
  EXPECT_TRUE(records.Empty());
}

inline Texts LoadFrom(CacheManager& cache) {
  RecordList records;
  cache.Load(records);
  return TextsOf(records);
}

class CacheFixture : public testing::Test {
 protected:
  static constexpr char kPrefix[] = "TavCache_0001AAD5_";  // of "p1" and "v"

  CacheFixture() { now = Platform::UnixMilliseconds() / 1000; }

  std::string Folder() const { return StorageFolder::Utf8(path_); }
  static std::string Name(int sequence) { return CacheFileName(kPrefix, sequence); }
  std::filesystem::path PathOf(int sequence) const { return path_ / Name(sequence); }
  std::string PathText(int sequence) const { return StorageFolder::Utf8(PathOf(sequence)); }

  CacheManager Manager() const {
    return CacheManager(Folder(), CachePrefix("p1", "v", Deployment()), [] { return now; });
  }
  // Everything a new manager finds.
  Texts LoadAll() const {
    CacheManager cache = Manager();
    return LoadFrom(cache);
  }

  // Seconds since 1970.
  static void SetModified(const std::filesystem::path& path, int64_t time) {
    const std::chrono::sys_seconds point{std::chrono::seconds(time)};
    std::filesystem::last_write_time(path, std::chrono::file_clock::from_sys(point));
  }
  static int64_t Modified(const std::filesystem::path& path) {
    Platform::FileStatus status;
    EXPECT_TRUE(Platform::QueryFileStatus(StorageFolder::Utf8(path).c_str(), status));
    return status.modifiedAt;
  }

  void Put(int sequence, const std::string& contents) const {
    folder_.Put(Name(sequence).c_str(), contents);
  }
  std::string Contents(int sequence) const { return folder_.Contents(Name(sequence).c_str()); }
  Texts Names() const {
    Texts names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  static inline int64_t now = 0;  // seconds since 1970
  const StorageFolder folder_;
  const std::filesystem::path path_ = folder_.Path("").parent_path();
};

}  // namespace Tav::Testing
