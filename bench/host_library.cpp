#include "bench/host_library.h"

#include <atomic>
#include <cstdio>
#include <stdexcept>

namespace Bench {

namespace {

std::atomic<int> warnings{0};

// Receives warnings and errors only, since the log level is not set.
void TAV_CALL OnWarning(const char* line) {
  ++warnings;
  std::fprintf(stderr, "tav: %s\n", line);
}

void CheckWarnings(const char* when) {
  if (const int count = warnings.exchange(0); count > 0) {
    throw std::runtime_error("the library logged " + std::to_string(count) +
                             " warnings or errors, see above (" + when + ")");
  }
}

std::string FullPath(const std::string& path) {
  char full[MAX_PATH] = "";
  const DWORD length = GetFullPathNameA(path.c_str(), MAX_PATH, full, nullptr);
  if (length == 0 || length >= MAX_PATH) {
    throw std::runtime_error("bad path: " + path);
  }
  return full;
}

}  // namespace

HostLibrary::HostLibrary(const std::string& path) {
  module_ = LoadLibraryA(path.c_str());
  if (module_ == nullptr) {
    throw std::runtime_error(path + " cannot be loaded: system error " +
                             std::to_string(GetLastError()));
  }
  const auto load = reinterpret_cast<TavLoaderFunction>(
      reinterpret_cast<void (*)()>(GetProcAddress(module_, TAV_LOADER_NAME)));
  table_ = load != nullptr ? load(TAV_INTERFACE_VERSION) : nullptr;
  if (table_ == nullptr) {
    throw std::runtime_error(path + " does not support this interface version");
  }
}

HostLibrary::~HostLibrary() {
  if (running_) {
    table_->Terminate();
  }
}

void HostLibrary::Start(const std::string& gatewayUrl, const std::string& scratch) {
  const std::string folder = FullPath(scratch);
  CreateDirectoryA(folder.c_str(), nullptr);
  SetEnvironmentVariableA("LOCALAPPDATA", folder.c_str());
  SetEnvironmentVariableA("TAV_GATEWAY", gatewayUrl.c_str());
  SetEnvironmentVariableA("TAV_LOGFILE", nullptr);
  SetEnvironmentVariableA("TAV_LOG_LEVEL", nullptr);
  table_->SetMessageSink(TavSinkPointer(OnWarning));
  const int status = table_->Initialize("Bench", "1.0", "1.0.0.1", TAV_LANGUAGE_EN_US);
  if (status != TAV_OK) {
    throw std::runtime_error("Initialize failed with status " + std::to_string(status));
  }
  running_ = true;
}

void HostLibrary::Drain() {
  const int unsent = table_->Commit();
  CheckWarnings("sending");
  if (unsent != 0) {
    throw std::runtime_error("Commit could not send everything");
  }
}

void HostLibrary::Stop() {
  running_ = false;
  table_->Terminate();
  CheckWarnings("terminating");
}

uint64_t HostLibrary::FileSize() const {
  wchar_t path[MAX_PATH] = L"";
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (GetModuleFileNameW(module_, path, MAX_PATH) == 0 ||
      !GetFileAttributesExW(path, GetFileExInfoStandard, &data)) {
    throw std::runtime_error("cannot get the size of the library");
  }
  return (static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

}  // namespace Bench
