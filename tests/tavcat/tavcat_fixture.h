// A storage folder, and tavcat's output for it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cache/cache_file_name.h"
#include "cache/cache_manager.h"
#include "model/built_record.h"
#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"
#include "support/storage_folder.h"
#include "tavcat/command.h"

namespace Tav::Testing {

inline std::string Gzip(const std::string& text) {
  MemoryOutputStream memory;
  GZipOutputStream gzip(&memory);
  gzip.Write(text.data(), text.size());
  gzip.Flush();
  const std::vector<uint8_t> bytes = memory.Join();
  return std::string(bytes.begin(), bytes.end());
}

inline std::string Chunk(const std::string& payload) {
  std::string chunk = "\x1C";
  for (size_t i = 0, rest = payload.size(); i < 3; ++i, rest >>= 8) {
    chunk += static_cast<char>(rest & 0xFF);
  }
  return chunk + payload + '\x1D';
}

class TavcatTest : public testing::Test {
 protected:
  // Runs it on the test's folder, which it must not change.
  int Run(std::vector<std::string> options = {}) {
    const auto before = State();
    options.push_back(Folder());
    const int status = RunWith(options);
    EXPECT_EQ(State(), before);
    return status;
  }
  int RunWith(const std::vector<std::string>& arguments) {
    output.clear();
    problems.clear();
    return Tavcat::RunCommand(
        arguments, [this](std::string_view text) { output += text; },
        [this](std::string_view text) { problems += text; });
  }

  std::string Folder() const { return StorageFolder::Utf8(folder.Path("").parent_path()); }
  // Appends records of these texts, as the library does.
  void Cache(const char* product, const std::vector<std::string>& texts) const {
    RecordList records;
    for (const std::string& text : texts) {
      const std::string bytes = Gzip(text);
      auto record = std::make_unique<BuiltRecord>();
      record->bytes.assign(bytes.begin(), bytes.end());
      records.Append(std::move(record));
    }
    CacheManager manager(Folder(), CachePrefix(product, "1.0", Deployment()));
    manager.ScanFiles(false);
    EXPECT_TRUE(manager.Append(records));
  }
  // The lines that explain damage, in order.
  std::vector<std::string> Damages() const {
    std::vector<std::string> found;
    for (size_t at = output.find("! "); at != output.npos; at = output.find("! ", at + 1)) {
      found.push_back(output.substr(at + 2, output.find('\n', at) - at - 2));
    }
    return found;
  }
  void ExpectShown(const std::string& text) const {
    EXPECT_NE(output.find(text), output.npos) << text << "\n--- in:\n" << output;
  }

  // Contents and time of everything in the folder.
  using Files = std::map<std::string, std::pair<std::string, std::filesystem::file_time_type>>;
  Files State() const {
    Files state;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.Base())) {
      std::ifstream file(entry.path(), std::ios::binary);
      state[StorageFolder::Utf8(entry.path())] = {
          entry.is_directory() ? "" : std::string(std::istreambuf_iterator<char>(file), {}),
          entry.last_write_time()};
    }
    return state;
  }

  StorageFolder folder;
  std::string output;
  std::string problems;
};

}  // namespace Tav::Testing
