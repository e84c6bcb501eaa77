#include "system/posix/cache_contents.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "cache/cache_file_reader.h"
#include "support/records.h"

namespace Tav::Testing {

namespace {

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// A chunk that was cut off before its end is the beginning of one, and shorter than it says.
bool IsCutOffChunk(const std::string& bytes) {
  constexpr size_t kHead = 4;
  if (bytes.size() < kHead) {
    return bytes[0] == '\x1C';
  }
  size_t length = 0;
  for (size_t i = kHead - 1; i > 0; --i) {
    length = (length << 8) | static_cast<unsigned char>(bytes[i]);
  }
  return bytes[0] == '\x1C' && bytes.size() < kHead + length + 1;
}

void ReadRecord(const BuiltRecord& record, const std::string& name, CacheContents& contents) {
  const JsonPtr document = Expand(record);
  if (!document) {
    contents.faults.push_back(name + " has a record that does not expand");
    return;
  }
  size_t index = 0;
  json_t* event = nullptr;
  json_array_foreach(json_object_get(document.Get(), "rt"), index, event) {
    if (const json_t* const eventName = json_object_get(event, "m")) {
      contents.events.emplace_back(JsonStringView(eventName));
    }
  }
}

void ReadOneFile(const std::filesystem::path& path, CacheContents& contents) {
  const std::string bytes = ReadFile(path);
  const std::string name = path.filename().string();
  contents.files.push_back(name);
  MemoryInputStream measured(bytes.data(), bytes.size());
  const auto whole = static_cast<size_t>(WholeChunkBytes(&measured));
  MemoryInputStream input(bytes.data(), whole);
  RecordList records;
  ReadCacheFile(&input, records);
  for (const BuiltRecord* record = records.First(); record != nullptr;
       record = record->next.get()) {
    ReadRecord(*record, name, contents);
  }
  if (whole < bytes.size()) {
    ++contents.tornFiles;
    if (!IsCutOffChunk(bytes.substr(whole))) {
      contents.faults.push_back(name + " has something behind a torn chunk");
    }
  }
}

}  // namespace

CacheContents ReadCache(const std::filesystem::path& folder) {
  CacheContents contents;
  std::vector<std::filesystem::path> paths;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
    if (entry.path().filename().string().find("Cache_") != std::string::npos) {
      paths.push_back(entry.path());
    }
  }
  std::sort(paths.begin(), paths.end());
  for (const std::filesystem::path& path : paths) {
    ReadOneFile(path, contents);
  }
  return contents;
}

}  // namespace Tav::Testing
