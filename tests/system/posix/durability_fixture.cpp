#include "system/posix/durability_fixture.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <vector>

#include "cache/cache_file_reader.h"
#include "platform/process.h"
#include "support/records.h"

namespace Tav::Testing {

namespace {

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// The beginning of a chunk that is shorter than its header says.
bool IsIncompleteChunk(const std::string& bytes) {
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
    if (!IsIncompleteChunk(bytes.substr(whole))) {
      contents.faults.push_back(name + " has data after an incomplete chunk");
    }
  }
}

}  // namespace

HostProcessTest::HostProcessTest()
    : base_(std::filesystem::temp_directory_path() /
            ("tav_hosts_" + std::to_string(Platform::ProcessId()))) {
  std::filesystem::remove_all(base_);
  std::filesystem::create_directories(Storage());
  ResetGateway();
}

HostProcessTest::~HostProcessTest() {
  std::error_code ignored;
  std::filesystem::remove_all(base_, ignored);
}

void HostProcessTest::PutSettings(const std::string& settings) const {
  std::ofstream(Storage() / "TavData", std::ios::binary)
      << R"({"Products":[{"Name":"Durable","Version":"1.0","Platform":"wntx64","Settings":)"
      << settings << "}]}";
}

CacheContents HostProcessTest::ReadCache() const {
  CacheContents contents;
  std::vector<std::filesystem::path> paths;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(Storage(), ignored)) {
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

Lines HostProcessTest::Journals() const {
  Lines names;
  for (const auto& entry : std::filesystem::directory_iterator(Storage())) {
    if (std::string name = entry.path().filename().string(); name.starts_with("TavJournal_")) {
      names.push_back(std::move(name));
    }
  }
  return names;
}

void HostProcessTest::DeliverCache() const {
  HostSettings settings = Host("none");
  settings.logLevel = "DEBUG";
  HostProcess host(settings);
  host.Send("start\ncommit\nterminate");
  host.Finish();
  const CacheContents left = ReadCache();
  EXPECT_EQ(left.events.size(), 0u) << host.WholeLog();
  EXPECT_EQ(Journals(), Lines()) << host.WholeLog();
  EXPECT_EQ(left.tornFiles, 0) << host.WholeLog();
}

}  // namespace Tav::Testing
