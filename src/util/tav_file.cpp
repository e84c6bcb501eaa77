#include "util/tav_file.h"

#include <cerrno>

#include "platform/clock.h"
#include "platform/error.h"
#include "platform/thread.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr size_t kMaxErrorText = 256;
constexpr int kTruncateAttempts = 5;
constexpr int kTruncatePauseMilliseconds = 100;
constexpr int kLockPauseMilliseconds = 20;

}  // namespace

void TavFile::Reset() {
  Close();
  lastingFailure_ = false;
  missing_ = false;
  unusable_ = false;
  inUse_ = false;
  failed_ = false;
  errorText_.clear();
}

// Keeps the first failure: `what`, followed by errno's text if `what` ends with a colon and a
// blank.
void TavFile::Fail(const char* what) {
  if (failed_) {
    return;
  }
  const Platform::ErrorKeeper keeper;
  failed_ = true;
  errorText_ = what;
  if (errorText_.ends_with(": ")) {
    errorText_ += Platform::ErrnoMessage(keeper.Errno());
  }
  if (errorText_.size() > kMaxErrorText) {
    errorText_.resize(kMaxErrorText);
  }
}

Platform::OpenResult TavFile::Open(const char* path, Platform::FileUse use) {
  using Platform::OpenResult;
  const OpenResult result = file_.Open(path, use);
  missing_ = result == OpenResult::Missing;
  inUse_ = result == OpenResult::InUse;
  unusable_ = result == OpenResult::Refused ||
              (result == OpenResult::Failed && errno != EMFILE && errno != ENOMEM);
  if (result == OpenResult::Refused) {
    LogWarning("SF: File '%s' is a link or has several names. Not opened", path);
    errno = EACCES;
  }
  return result;
}

bool TavFile::OpenLocked(const char* path, Platform::FileUse use, int lockWait) {
  Reset();
  const int64_t end = Platform::MonotonicMilliseconds() + lockWait;
  for (bool first = true; !TryOpenLocked(path, use); first = false) {
    if (!inUse_ || Platform::MonotonicMilliseconds() >= end) {
      Fail(file_.IsOpen() ? "Lock failed: " : "Open failed: ");
      if (file_.IsOpen()) {
        LogWarning("*Lock of file failed");
      } else {
        TAV_DEBUG("*Cannot open file %s", path);
      }
      file_.Close();
      return false;
    }
    if (first) {
      TAV_TRACE("Waiting for the lock of %s", path);
    }
    Platform::SleepMilliseconds(kLockPauseMilliseconds);
  }
  return true;
}

// Keeps a file that it could open but not lock, for the next attempt.
bool TavFile::TryOpenLocked(const char* path, Platform::FileUse use) {
  if (!file_.IsOpen()) {
    lastingFailure_ = Open(path, use) != Platform::OpenResult::Opened && !missing_;
  }
  if (!file_.IsOpen()) {
    return false;
  }
  const bool locked = file_.LockFirstByte();
  inUse_ = !locked && errno == EACCES;
  return locked;
}

bool TavFile::OpenForAppend(const char* path) {
  return OpenLocked(path, Platform::FileUse::Append, 0);
}

bool TavFile::OpenForUpdate(const char* path, int lockWait) {
  return OpenLocked(path, Platform::FileUse::Update, lockWait);
}

bool TavFile::OpenAtomic(const char* path) {
  Reset();
  switch (Open(path, Platform::FileUse::Exclusive)) {
    case Platform::OpenResult::Opened:
      return true;
    case Platform::OpenResult::InUse:
      Fail("Atomic open failed: ");
      LogWarning("Atomic open failed due to file locked");
      return false;
    case Platform::OpenResult::Missing:
    case Platform::OpenResult::Refused:
    case Platform::OpenResult::Failed:
      break;
  }
  lastingFailure_ = true;
  Fail("Atomic open failed: ");
  LogWarning("*Open of file failed");
  return false;
}

bool TavFile::Discard() {
  return file_.Discard();
}

size_t TavFile::Read(void* buffer, size_t count) {
  if (failed_) {
    return 0;
  }
  const int64_t got = file_.Read(buffer, count);
  if (got < 0) {
    Fail("Read error: ");
    LogWarning("*Read from file failed");
    return 0;
  }
  return static_cast<size_t>(got);
}

bool TavFile::Write(const void* buffer, size_t count) {
  if (failed_) {
    return false;
  }
  const int64_t written = file_.Write(buffer, count);
  if (written < 0) {
    Fail("Write error: ");
    LogWarning("*Write to file failed");
  } else if (static_cast<size_t>(written) != count) {
    Fail("Not all data written");
  }
  return !failed_;
}

bool TavFile::Truncate() {
  for (int attempt = 1; !file_.Truncate(); ++attempt) {
    if (attempt == kTruncateAttempts) {
      Fail("Truncate error: ");
      return false;
    }
    Platform::SleepMilliseconds(kTruncatePauseMilliseconds);
  }
  return true;
}

bool TavFile::Close() {
  if (!file_.Close()) {
    Fail("Close error: ");
    return false;
  }
  return true;
}

bool TavFile::Delete(const char* path) {
  if (Platform::RemoveFile(path) || errno == ENOENT) {
    return true;
  }
  LogWarning("*Error deleting file %s", path);
  return false;
}

bool TavFile::Exists(const char* path) {
  return Platform::FileExists(path);
}

std::vector<std::string> TavFile::ReadDirectory(const char* path) {
  std::vector<std::string> names;
  Platform::ListFiles(path, names);
  TAV_TRACE("ReadDir found %d files", static_cast<int>(names.size()));
  return names;
}

}  // namespace Tav
