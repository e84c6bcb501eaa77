#include "cache/cache_directory.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <numeric>
#include <utility>

#include "cache/cache_file_name.h"
#include "platform/file.h"
#include "util/logger.h"
#include "util/sort.h"
#include "util/storage_directory.h"
#include "util/tav_file.h"

namespace Tav {

namespace {

using Deletion = CacheDirectory::Deletion;
using Scan = CacheDirectory::Scan;

constexpr int64_t kDay = 86400;
constexpr int64_t kRetention = 30 * kDay;
constexpr int64_t kYear2000 = 946'684'800;
// A file that seems older than this has a time from a wrong clock, or the clock is wrong now.
constexpr int64_t kMaxPlausibleAge = 3650 * kDay;

// Whether the time of a file can be true. Records must not be lost because the clock was wrong when
// the file was written, or is wrong now.
bool IsPlausible(int64_t modifiedAt, int64_t now) {
  return modifiedAt >= kYear2000 && modifiedAt <= now + kDay && modifiedAt > now - kMaxPlausibleAge;
}

bool IsAged(int64_t modifiedAt, int64_t now) {
  return IsPlausible(modifiedAt, now) && modifiedAt <= now - kRetention;
}

// The position of a sequence number: its file, or the first newer one.
template <typename Files>
auto PositionOf(Files& files, int sequence) {
  return std::lower_bound(files.begin(), files.end(), sequence,
                          [](const CacheFile& file, int wanted) { return file.sequence < wanted; });
}

Deletion DeleteFile(const std::string& path) {
  if (TavFile::Delete(path.c_str())) {
    return Deletion::Deleted;
  }
  // An exclusive open tells "in use" from "cannot be deleted".
  const int reason = errno;
  TavFile file;
  const bool opened = file.OpenAtomic(path.c_str());
  if (opened ? file.Discard() && file.Close() : file.Missing()) {
    return Deletion::Deleted;
  }
  errno = reason;
  return opened || file.Unusable() ? Deletion::Failed : Deletion::InUse;
}

// If another process has the file open, that process or a later scan sets the time.
void DateNow(const std::string& path, int64_t now) {
  TAV_NOTE("CM: The time of cache file '%s' is implausible. It is dated now", path.c_str());
  TavFile file;
  if (!file.OpenAtomic(path.c_str()) || !file.SetModified(now)) {
    TAV_DEBUG("*CM: Cannot date cache file '%s'", path.c_str());
  }
}

void DeleteAged(const std::string& path, int64_t size, Scan& scan) {
  TAV_DEBUG("CM: File '%s' is old. Deleting it...", path.c_str());
  if (TavFile::Delete(path.c_str())) {
    LogWarning("CM: Deleted a cache file of %lld bytes because of its age",
               static_cast<long long>(size));
    ++scan.agedFiles;
    return;
  }
  LogWarning("*CM: Failed to delete old cache file '%s'", path.c_str());
  ++scan.errors;
}

}  // namespace

CacheDirectory::CacheDirectory(std::string path, std::string prefix)
    : path_(std::move(path)), prefix_(std::move(prefix)) {}

bool CacheDirectory::Exists() const {
  return !path_.empty() && Platform::DirectoryExists(path_);
}

std::string CacheDirectory::PathOf(int sequence) const {
  return JoinPath(path_, CacheFileName(prefix_, sequence));
}

std::vector<int> CacheDirectory::ListSequences() const {
  std::vector<int> sequences;
  if (path_.empty()) {
    // The system would list a directory of its own choice.
    return sequences;
  }
  for (const std::string& name : TavFile::ReadDirectory(path_.c_str())) {
    if (const int sequence = CacheSequence(prefix_, name); sequence != 0) {
      sequences.push_back(sequence);
    }
  }
  return sequences;
}

const CacheFile* CacheDirectory::Find(int sequence) const {
  const auto position = PositionOf(files_, sequence);
  return position != files_.end() && position->sequence == sequence ? &*position : nullptr;
}

int64_t CacheDirectory::TotalSize() const {
  return std::accumulate(files_.begin(), files_.end(), int64_t{0},
                         [](int64_t sum, const CacheFile& file) { return sum + file.size; });
}

void CacheDirectory::Put(const CacheFile& file) {
  const auto position = PositionOf(files_, file.sequence);
  if (position != files_.end() && position->sequence == file.sequence) {
    *position = file;
  } else {
    files_.insert(position, file);
  }
}

void CacheDirectory::Forget(int sequence) {
  std::erase_if(files_, [sequence](const CacheFile& file) { return file.sequence == sequence; });
}

void CacheDirectory::PassOver(int sequence) {
  passedOver_.push_back(sequence);
  Forget(sequence);
}

bool CacheDirectory::IsPassedOver(int sequence) const {
  return std::ranges::find(passedOver_, sequence) != passedOver_.end();
}

CacheDirectory::Scan CacheDirectory::ScanFiles(int64_t now) {
  files_.clear();
  passedOver_.clear();
  Scan scan;
  for (const int sequence : ListSequences()) {
    const std::string path = PathOf(sequence);
    Platform::FileStatus status;
    if (!Platform::QueryFileStatus(path.c_str(), status)) {
      // Another process may have consumed it since the listing.
      if (errno != ENOENT) {
        LogWarning("*CM: stat of file '%s' failed", path.c_str());
        ++scan.errors;
      }
      continue;
    }
    if (IsAged(status.modifiedAt, now)) {
      DeleteAged(path, status.size, scan);
      continue;
    }
    if (!IsPlausible(status.modifiedAt, now)) {
      DateNow(path, now);
      status.modifiedAt = now;
    }
    if (scan.oldestTime == 0 || status.modifiedAt < scan.oldestTime) {
      scan.oldestTime = status.modifiedAt;
    }
    TAV_DEBUG("CM: Adding cache file seq: %d", sequence);
    Put({sequence, status.size, CacheFile::kUnknown, status.modifiedAt});
  }
  return scan;
}

// Old files that could not be deleted at the start are not added; files that become old while the
// process runs stay in the list.
void CacheDirectory::Refresh(int64_t now) {
  // A name that is free again may be given to a new file.
  std::erase_if(passedOver_, [this](int sequence) {
    Platform::FileStatus status;
    return !Platform::QueryFileStatus(PathOf(sequence).c_str(), status) && errno == ENOENT;
  });
  std::vector<CacheFile> found;
  for (const int sequence : ListSequences()) {
    Platform::FileStatus status;
    if (IsPassedOver(sequence) || !Platform::QueryFileStatus(PathOf(sequence).c_str(), status)) {
      continue;
    }
    const CacheFile* const known = Find(sequence);
    if (known != nullptr) {
      found.push_back({sequence, status.size, known->wholeSize, status.modifiedAt});
    } else if (!IsAged(status.modifiedAt, now)) {
      TAV_DEBUG("CM: Adding cache file seq: %d", sequence);
      found.push_back({sequence, status.size, CacheFile::kUnknown, status.modifiedAt});
    }
  }
  SortBy(found, &CacheFile::sequence);
  files_ = std::move(found);
}

CacheDirectory::Deletion CacheDirectory::Delete(int sequence) {
  const Deletion deletion = DeleteFile(PathOf(sequence));
  if (deletion == Deletion::Deleted) {
    Forget(sequence);
  }
  return deletion;
}

int ToInt(int64_t bytes) {
  return static_cast<int>(std::min<int64_t>(bytes, std::numeric_limits<int32_t>::max()));
}

}  // namespace Tav
