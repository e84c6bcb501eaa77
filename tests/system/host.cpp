#include "system/host.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>

#include "platform/process.h"
#include "platform/set_environment.h"

#ifdef _WIN32
#include <windows.h>
#else
extern "C" const TavEntryTable* TAV_CALL TavLoader(int version);
#endif

namespace Tav::Testing {

namespace {

#ifdef _WIN32
const TavEntryTable* LoadTable() {
  const char* const path = std::getenv("TAV_TEST_LIBRARY");
  static const HMODULE library = LoadLibraryA(path == nullptr ? "tav.dll" : path);
  if (library == nullptr) {
    ADD_FAILURE() << "cannot load the library: error " << GetLastError();
    std::exit(2);
  }
  const auto loader = reinterpret_cast<TavLoaderFunction>(
      reinterpret_cast<void*>(GetProcAddress(library, TAV_LOADER_NAME)));
  return loader(TAV_INTERFACE_VERSION);
}
#else
const TavEntryTable* LoadTable() {
  return TavLoader(TAV_INTERFACE_VERSION);
}
#endif

// Removed when the process ends, even if it ends in the middle of a test.
class ScratchFolder {
 public:
  // A process that was killed has left its folder, and process numbers come again.
  ScratchFolder() {
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::filesystem::path Next() {
    std::filesystem::path next = path_ / std::to_string(++count_);
    std::filesystem::create_directories(next);
    return next;
  }

 private:
  const std::filesystem::path path_ =
      std::filesystem::temp_directory_path() / std::filesystem::path(u8"tav_h\u00F6st_\u6570_")
                                                   .concat(std::to_string(Platform::ProcessId()));
  int count_ = 0;
};

std::filesystem::path NextFolder() {
  static ScratchFolder scratch;
  return scratch.Next();
}

// Compact text, numbers with up to fifteen digits. json_dumpb needs no memory of jansson's, whose
// allocator differs between the builds.
std::string Text(const json_t* value) {
  constexpr size_t kFlags = JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(15);
  std::string text(json_dumpb(value, nullptr, 0, kFlags), '\0');
  json_dumpb(value, text.data(), text.size(), kFlags);
  return text;
}

// The position of the session in `sessions`, from 1 on; appends a new one.
size_t NumberOf(const std::string& session, Lines& sessions) {
  const auto known = std::find(sessions.begin(), sessions.end(), session);
  const auto number = static_cast<size_t>(known - sessions.begin()) + 1;
  if (known == sessions.end()) {
    sessions.push_back(session);
  }
  return number;
}

}  // namespace

HostTest::HostTest() : tav_(LoadTable()), folder_(NextFolder()) {
  // Under Wine the variable is set by Wine itself.
#ifndef _WIN32
  SetEnvironment("LOCALAPPDATA", ::testing::TempDir().c_str());
#endif
  UseGateway(GatewayUrl());
  UseConfigurationServer(kNoServer);
  ResetGateway();
  // Otherwise a record with the machine's description would be sent at an unpredictable moment.
  std::ofstream(folder_ / "TsTavData", std::ios::binary)
      << R"({"Products": [], "LastClientQuery": )" << std::time(nullptr) / 86400 << ".0}";
}

HostTest::~HostTest() {
  tav_->Terminate();
}

void HostTest::Initialize() {
  UseFolder(tav_);
  ASSERT_EQ(tav_->Initialize("System.Test", "1.0", "1.0.0", TAV_LANGUAGE_EN_US), TAV_OK);
}

void HostTest::RunOnce(const char* event) {
  Initialize();
  tav_->LogEvent(tav_->NewEvent(event));
  Stop();
}

void HostTest::UseGateway(const std::string& url) {
  SetEnvironment("TAV_GATEWAY", url.c_str());
}

void HostTest::UseConfigurationServer(const std::string& url) {
  SetEnvironment("TAV_CONFIGURATOR", url.c_str());
}

void HostTest::UseFolder(const TavEntryTable* tav) const {
  const std::u8string path = folder_.u8string();
  tav->SetCacheDirectory(std::string(path.begin(), path.end()).c_str());
}

void HostTest::PutSettings(const std::string& settings) const {
  std::ofstream(folder_ / "TavData", std::ios::binary)
      << R"({"Products":[{"Name":"System.Test","Version":"1.0","Platform":"wntx64","Settings":)"
      << settings << "}]}";
}

Lines HostTest::CacheFiles() const {
  Lines kinds;
  for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
    const std::string name = entry.path().filename().string();
    if (name.find("Cache_") != std::string::npos) {
      kinds.push_back(name.substr(0, name.find('_')));
    }
  }
  return kinds;
}

Lines HostTest::ArrivedEvents() {
  Lines lines;
  Lines sessions;
  const JsonPtr arrivals = GatewayGet("api/events");
  size_t index = 0;
  json_t* arrival = nullptr;
  json_array_foreach(arrivals.Get(), index, arrival) {
    json_t* const event = json_object_get(arrival, "event");
    const std::string session(JsonStringView(json_object_get(event, "s")));
    json_object_del(event, "t");
    json_object_del(event, "s");
    lines.push_back(std::to_string(NumberOf(session, sessions)) + ' ' + Text(event));
  }
  ExpectNoBadRecords();
  return lines;
}

std::vector<JsonPtr> HostTest::Records() {
  std::vector<JsonPtr> records;
  const JsonPtr arrivals = GatewayGet("api/records");
  size_t index = 0;
  json_t* arrival = nullptr;
  json_array_foreach(arrivals.Get(), index, arrival) {
    records.push_back(JsonPtr::Share(json_object_get(arrival, "record")));
  }
  EXPECT_EQ(GatewayCount("bad_records"), 0);
  return records;
}

std::string HostTest::Member(const JsonPtr& record, const char* key) {
  json_t* const member = json_object_get(record.Get(), key);
  json_object_del(member, "t");
  return member == nullptr ? std::string() : Text(member);
}

}  // namespace Tav::Testing
