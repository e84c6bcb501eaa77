// An existing file that another program holds for a while.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/file.h"
#include "support/eventually.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#endif

namespace Tav::Testing {

// As the library does: the first byte is locked. As virus scanners do: open without sharing.
enum class Hold { Locked, NotShared };

// Until Release or the end.
class HeldFile {
 public:
  // The library may have the file open at the moment.
  explicit HeldFile(const std::filesystem::path& path, Hold how = Hold::Locked) {
    EXPECT_TRUE(Eventually([&] {
      Release();
      return how == Hold::Locked ? Lock(path) : OpenAlone(path);
    }));
  }
  ~HeldFile() { Release(); }
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;

  void Release() {
    lock_.Close();
    CloseAlone();
  }

 private:
  bool Lock(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    const std::string utf8(text.begin(), text.end());
    return lock_.Open(utf8.c_str(), Platform::FileUse::Update) == Platform::OpenResult::Opened &&
           lock_.LockFirstByte();
  }

#ifdef _WIN32
  bool OpenAlone(const std::filesystem::path& path) {
    handle_ = CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    return handle_ != INVALID_HANDLE_VALUE;
  }
  void CloseAlone() {
    if (handle_ != INVALID_HANDLE_VALUE) {
      CloseHandle(handle_);
      handle_ = INVALID_HANDLE_VALUE;
    }
  }

  HANDLE handle_ = INVALID_HANDLE_VALUE;
#else
  // What src/platform takes for a share mode.
  bool OpenAlone(const std::filesystem::path& path) {
    descriptor_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    return descriptor_ >= 0 && flock(descriptor_, LOCK_EX | LOCK_NB) == 0;
  }
  void CloseAlone() {
    if (descriptor_ >= 0) {
      close(descriptor_);
      descriptor_ = -1;
    }
  }

  int descriptor_ = -1;
#endif

  Platform::File lock_;
};

}  // namespace Tav::Testing
