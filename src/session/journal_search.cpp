#include "session/journal_search.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>

#include "cache/cache_file_name.h"
#include "journal/journal_file.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "storage/persistent_storage.h"
#include "util/logger.h"
#include "util/sort.h"
#include "util/storage_directory.h"

namespace Tav {

namespace {

// For all journals of dead runs together: a host that crashes at each start must not fill the disk.
constexpr int64_t kMaxBytes = int64_t{128} << 20;
constexpr size_t kMaxFiles = 256;
// Milliseconds.
constexpr int64_t kRetention = int64_t{30} * 86400 * 1000;
constexpr int64_t kMaxPlausibleAge = int64_t{3650} * 86400 * 1000;
constexpr int64_t kYear2000 = 946'684'800'000;
constexpr int64_t kMillisecondsPerSecond = 1000;
// Seconds. By then, a process whose journal was in use may have ended, or its crash dump may be
// complete.
constexpr int kSearchInterval = 600;

}  // namespace

bool IsTooOldJournal(int64_t newest) {
  const int64_t age = Platform::UnixMilliseconds() - newest;
  return newest >= kYear2000 && age > kRetention && age < kMaxPlausibleAge;
}

bool IsRecentJournal(int64_t newest) {
  return Platform::UnixMilliseconds() - newest <= kRetention;
}

std::optional<JournalSearch::Found> JournalSearch::Next() {
  if (files_.empty()) {
    return std::nullopt;
  }
  Found found = std::move(files_.back());
  files_.pop_back();
  return found;
}

std::optional<int> JournalSearch::Timeout() const {
  if (!searched_) {
    return 0;
  }
  if (!someInUse_) {
    return std::nullopt;
  }
  const int64_t left = searchAt_ - Platform::MonotonicMilliseconds();
  return left > 0 ? static_cast<int>(left / kMillisecondsPerSecond) + 1 : 0;
}

bool JournalSearch::ListFolder(std::vector<std::string>& names) {
  directory_ = GetStorageDirectory(config_.storage);
  return !directory_.empty() && Platform::ListFiles(directory_.c_str(), names);
}

std::string JournalSearch::OwnPrefix() const {
  return JournalPrefix(config_.productName, config_.productVersion, config_.deployment);
}

void JournalSearch::MakeRoom() {
  std::vector<std::string> names;
  if (ListFolder(names)) {
    FindOf(OwnPrefix(), names);
    EnforceBounds();
    files_.clear();
  }
}

// Next returns the journals that were found.
void JournalSearch::Search() {
  searched_ = true;
  someInUse_ = false;
  searchAt_ = Platform::MonotonicMilliseconds() + int64_t{kSearchInterval} * kMillisecondsPerSecond;
  std::vector<std::string> names;
  if (!ListFolder(names)) {
    return;
  }
  prefixes_ = {OwnPrefix()};
  for (const std::string& version : OtherVersions(app_.Product().Identity(), config_.storage)) {
    prefixes_.push_back(JournalPrefix(config_.productName, version, config_.deployment));
  }
  for (const std::string& prefix : prefixes_) {
    FindOf(prefix, names);
  }
  if (!consent_.AllowsReports()) {
    for (const Found& file : files_) {
      DeleteFile(file.path);
    }
    files_.clear();
  }
  EnforceBounds();
  std::erase_if(files_, [](const Found& file) { return !file.known; });
  std::ranges::reverse(files_);
}

// Adds the journals with the prefix, in the order in which their runs began.
void JournalSearch::FindOf(const std::string& prefix, const std::vector<std::string>& names) {
  std::vector<Found> found;
  for (const std::string& name : names) {
    if (name == own_.FileName() || !IsJournalFileName(prefix, name)) {
      continue;
    }
    Found file{JoinPath(directory_, name)};
    std::unique_ptr<JournalFile> journal;
    const JournalFile::Lease lease = JournalFile::Take(file.path, journal);
    someInUse_ = someInUse_ || lease == JournalFile::Lease::InUse;
    if (lease == JournalFile::Lease::Unknown && journal != nullptr) {
      file.size = journal->Size();
      journal.reset();
      AddUnknown(std::move(file), found);
      continue;
    }
    if (lease == JournalFile::Lease::Taken) {
      file.startTime = journal->Head().StartTime();
      file.size = journal->Size();
      ApplyNote(*journal);
      found.push_back(std::move(file));
    }
  }
  SortBy(found, &Found::startTime);
  files_.insert(files_.end(), std::make_move_iterator(found.begin()),
                std::make_move_iterator(found.end()));
}

void JournalSearch::ApplyNote(const JournalFile& journal) {
  if (const std::optional<CacheNote> note = journal.Head().ReadCacheNote()) {
    store_.DropAccepted({static_cast<int>(note->fileSequence),
                         static_cast<int64_t>(note->acceptedBytes), note->checksum});
  }
}

void JournalSearch::BeforeLoad() {
  std::vector<std::string> names;
  if (prefixes_.empty() || !ListFolder(names)) {
    return;
  }
  for (const std::string& name : names) {
    const bool isJournal = std::ranges::any_of(
        prefixes_, [&](const std::string& prefix) { return IsJournalFileName(prefix, name); });
    const std::string path = JoinPath(directory_, name);
    const bool applied = std::ranges::find(files_, path, &Found::path) != files_.end();
    std::unique_ptr<JournalFile> journal;
    if (isJournal && !applied && name != own_.FileName() &&
        JournalFile::Take(path, journal) == JournalFile::Lease::Taken) {
      ApplyNote(*journal);
    }
  }
}

// Written by another version of the library, or damaged. Only the time of the file is known; a
// clock that was wrong counts as now.
void JournalSearch::AddUnknown(Found file, std::vector<Found>& found) {
  Platform::FileStatus status;
  if (!Platform::QueryFileStatus(file.path.c_str(), status)) {
    return;
  }
  file.known = false;
  file.startTime = status.modifiedAt * kMillisecondsPerSecond;
  if (IsTooOldJournal(file.startTime)) {
    LogWarning("SM: The journal '%s' is too old. Deleting %lld bytes", file.path.c_str(),
               static_cast<long long>(file.size));
    DeleteFile(file.path);
    return;
  }
  file.startTime = std::min(file.startTime, Platform::UnixMilliseconds());
  found.push_back(std::move(file));
}

void JournalSearch::DeleteFile(const std::string& path) {
  std::unique_ptr<JournalFile> file;
  JournalFile::Take(path, file);
  if (file != nullptr && !file->Remove()) {
    LogWarning("SM: Cannot delete the journal '%s': %s", path.c_str(), std::strerror(errno));
  }
}

void JournalSearch::EnforceBounds() {
  int64_t total = 0;
  for (const Found& file : files_) {
    total += file.size;
  }
  // A single one has its own bound, and a head.
  while ((total > kMaxBytes || files_.size() > kMaxFiles) &&
         (files_.size() > 1 || !files_.front().known)) {
    const auto oldest = std::ranges::min_element(files_, {}, &Found::startTime);
    LogWarning("SM: The journals of earlier runs take too much space. Deleting '%s' (%lld bytes)",
               oldest->path.c_str(), static_cast<long long>(oldest->size));
    total -= oldest->size;
    DeleteFile(oldest->path);
    files_.erase(oldest);
  }
}

}  // namespace Tav
