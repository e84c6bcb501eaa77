#include "cache/cache_manager.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

#include "cache/cache_counters.h"
#include "cache/cache_file_name.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "util/logger.h"
#include "util/tav_file.h"

namespace Tav {

namespace {

constexpr int64_t kRetentionSeconds = 2'592'000;

enum class Removal { Removed, InUse, Impossible };

Removal RemoveFile(const std::string& path) {
  if (TavFile::Delete(path.c_str())) {
    return Removal::Removed;
  }
  // Whether somebody only has it in use, the attempt to take it tells; closing it deletes it, too.
  const int reason = errno;
  TavFile file;
  const bool taken = file.OpenAtomic(path.c_str());
  if (taken ? file.Close() : file.Missing()) {
    return Removal::Removed;
  }
  errno = reason;
  return taken || file.LastingFailure() ? Removal::Impossible : Removal::InUse;
}

}  // namespace

CacheManager::CacheManager(std::string storageDirectory,
                           std::string_view product,
                           std::string_view version,
                           uint32_t maxFiles,
                           uint32_t maxFileSize,
                           Clock clock)
    : directory_(std::move(storageDirectory)),
      prefix_(CachePrefix(product, version)),
      clock_(clock),
      maxFiles_(maxFiles),
      maxFileSize_(maxFileSize) {
  TAV_TRACE("CM: prefix = '%s'", prefix_.c_str());
  if (directory_.empty() || !Platform::DirectoryExists(directory_)) {
    TAV_DEBUG("CM: cache disabled because the PS dir does not exist.");
    disabled_ = true;
  }
}

int64_t CacheManager::SystemClock() {
  return Platform::UnixMilliseconds() / 1000;
}

std::string CacheManager::PathOf(int sequence) const {
  std::string path = directory_;
  if (!path.ends_with(Platform::kPathSeparator)) {
    path += Platform::kPathSeparator;
  }
  return path += CacheFileName(prefix_, sequence);
}

// Nothing for the empty path, which a system would take for a directory of its own choice.
std::vector<std::string> CacheManager::ListNames() const {
  return directory_.empty() ? std::vector<std::string>()
                            : TavFile::ReadDirectory(directory_.c_str());
}

bool CacheManager::IsOld(int64_t modifiedAt) const {
  return modifiedAt + kRetentionSeconds <= clock_();
}

void CacheManager::ScanFiles(bool persistentInterval) {
  files_.Clear();
  oldestTime_ = 0;
  TAV_DEBUG("CM: Loading cache file names from psDir '%s'. persistentInterval: %d",
            directory_.c_str(), persistentInterval ? 1 : 0);
  for (const std::string& name : ListNames()) {
    ScanEntry(name, persistentInterval);
  }
  TAV_DEBUG("CM: Load cache. File count = %d. Total size = %d bytes",
            static_cast<int>(files_.Count()), TotalSize());
}

void CacheManager::ScanEntry(const std::string& name, bool noteOldest) {
  const int sequence = CacheSequence(prefix_, name);
  if (sequence == 0) {
    return;
  }
  const std::string path = PathOf(sequence);
  Platform::FileStatus status;
  if (!Platform::QueryFileStatus(path.c_str(), status)) {
    // Another process may have consumed it since the listing.
    if (errno != ENOENT) {
      LogWarning("*CM: stat of file '%s' failed", path.c_str());
      CountCacheError();
    }
    return;
  }
  if (IsOld(status.modifiedAt)) {
    TAV_DEBUG("CM: File '%s' is old. Deleting it...", path.c_str());
    if (!TavFile::Delete(path.c_str())) {
      LogWarning("*CM: Failed to delete old cache file '%s'", path.c_str());
      CountCacheError();
      return;
    }
    CountAgedCacheFile();
    return;
  }
  if (noteOldest && (oldestTime_ == 0 || status.modifiedAt < oldestTime_)) {
    oldestTime_ = status.modifiedAt;
  }
  TAV_DEBUG("CM: Adding cache file seq: %d", sequence);
  files_.Put({sequence, status.size, CacheFile::kUnknown});
}

// Brings the list up to what other processes have done since. Files that grow old while the process
// runs stay in it; old ones that the scan could not delete do not come back.
void CacheManager::Refresh() {
  CacheFileList found;
  for (const std::string& name : ListNames()) {
    const int sequence = CacheSequence(prefix_, name);
    Platform::FileStatus status;
    if (sequence == 0 || !Platform::QueryFileStatus(PathOf(sequence).c_str(), status)) {
      continue;
    }
    const CacheFile* const known = files_.Find(sequence);
    if (known != nullptr) {
      found.Put({sequence, status.size, known->wholeSize});
    } else if (!IsOld(status.modifiedAt)) {
      TAV_DEBUG("CM: Adding cache file seq: %d", sequence);
      found.Put({sequence, status.size, CacheFile::kUnknown});
    }
  }
  files_ = std::move(found);
}

void CacheManager::SetLimits(uint32_t maxFiles, uint32_t maxFileSize) {
  maxFiles_ = maxFiles;
  maxFileSize_ = maxFileSize;
}

int CacheManager::GetFileSequence(size_t index) const {
  return index < files_.Count() ? files_.At(index).sequence : 0;
}

int CacheManager::TotalSize() const {
  return static_cast<int>(
      std::min<int64_t>(files_.TotalSize(), std::numeric_limits<int32_t>::max()));
}

bool CacheManager::DeleteFile(int sequence) {
  const std::string path = PathOf(sequence);
  TAV_DEBUG("CM: Deleting cache file %s", path.c_str());
  switch (RemoveFile(path)) {
    case Removal::Removed:
      files_.Remove(sequence);
      return true;
    case Removal::InUse:
      TAV_DEBUG("CM: Cache file %s is in use and stays", path.c_str());
      return false;
    case Removal::Impossible:
      break;
  }
  disabled_ = true;
  LogWarning("*CM: Cannot delete cache file %s. Cache disabled now.", path.c_str());
  CountCacheError();
  return false;
}

void CacheManager::DeleteAll() {
  TAV_DEBUG("CM: Deleting all cache files");
  for (const std::string& name : ListNames()) {
    const int sequence = CacheSequence(prefix_, name);
    if (sequence != 0) {
      DeleteFile(sequence);
    }
  }
  Refresh();
}

uint32_t CacheManager::ErrorCount() {
  return CacheErrorCount();
}

uint32_t CacheManager::AgedFileCount() {
  return AgedCacheFileCount();
}

}  // namespace Tav
