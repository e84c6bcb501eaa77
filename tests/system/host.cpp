#include "system/host.h"

#include "platform/process.h"
#include "platform/set_environment.h"

#ifdef _WIN32
#include <windows.h>
#endif

#ifndef _WIN32
extern "C" const TavEntryTable* TAV_CALL TavLoader(int version);
#endif

namespace Tav::Testing {

#ifdef _WIN32
const TavEntryTable* LoadTable(int version) {
  const char* const path = std::getenv("TAV_TEST_LIBRARY");
  static const HMODULE library = LoadLibraryA(path == nullptr ? "tav.dll" : path);
  if (library == nullptr) {
    ADD_FAILURE() << "cannot load the library: error " << GetLastError();
    std::exit(2);
  }
  const auto loader = reinterpret_cast<TavLoaderFunction>(
      reinterpret_cast<void*>(GetProcAddress(library, TAV_LOADER_NAME)));
  return loader(version);
}
#else
const TavEntryTable* LoadTable(int version) {
  return TavLoader(version);
}
#endif

namespace {

// Removed when the process ends, also one that ends in the middle of a test.
class ScratchFolder {
 public:
  ScratchFolder() { std::filesystem::create_directories(path_); }
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

}  // namespace

HostTest::HostTest() : tav_(LoadTable(TAV_INTERFACE_VERSION)), folder_(NextFolder()) {
  // Under Wine the variable is set by Wine itself.
#ifndef _WIN32
  SetEnvironment("LOCALAPPDATA", ::testing::TempDir().c_str());
#endif
  UseGateway(GatewayUrl());
  SetEnvironment("TAV_CONFIGURATOR", kNobody);
  ResetGateway();
}

HostTest::~HostTest() {
  tav_->Terminate();
}

void HostTest::UseGateway(const std::string& url) {
  SetEnvironment("TAV_GATEWAY", url.c_str());
}

void HostTest::UseFolder(const TavEntryTable* tav) const {
  const std::u8string path = folder_.u8string();
  tav->SetCacheDirectory(std::string(path.begin(), path.end()).c_str());
}

void HostTest::Initialize() {
  UseFolder(tav_);
  ASSERT_EQ(tav_->Initialize("System.Test", "1.0", "1.0.0", 3), TAV_OK);
}

}  // namespace Tav::Testing
