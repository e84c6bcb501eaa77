#include "cache/cache_manager.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <utility>

#include "cache/cache_file_name.h"
#include "platform/clock.h"
#include "util/logger.h"

namespace Tav {

namespace {

constinit std::atomic<uint32_t> agedFileCount{0};

CacheDirectory::Deletion TryToDelete(CacheDirectory& directory, int sequence) {
  const std::string path = directory.PathOf(sequence);
  TAV_DEBUG("CM: Deleting cache file %s", path.c_str());
  const CacheDirectory::Deletion deletion = directory.Delete(sequence);
  if (deletion == CacheDirectory::Deletion::InUse) {
    TAV_DEBUG("CM: Cache file %s is in use and stays", path.c_str());
  }
  return deletion;
}

}  // namespace

CacheManager::CacheManager(std::string storageDirectory, std::string prefix, Clock clock)
    : state_{{std::move(storageDirectory), std::move(prefix)}, clock}, loader_(state_) {
  TAV_TRACE("CM: prefix = '%s'", Prefix().c_str());
  if (!state_.directories.Own().Exists()) {
    TAV_DEBUG("CM: cache disabled because the PS dir does not exist.");
    state_.disabled = true;
  }
}

int64_t CacheManager::SystemClock() {
  return Platform::UnixMilliseconds() / 1000;
}

void CacheManager::ScanFiles(bool persistentInterval) {
  TAV_DEBUG("CM: Loading cache file names from psDir '%s'. persistentInterval: %d",
            state_.directories.Own().Path().c_str(), persistentInterval ? 1 : 0);
  const CacheDirectory::Scan scan = state_.directories.ScanFiles(state_.clock());
  oldestTime_ = persistentInterval ? scan.oldestTime : 0;
  CountCacheErrors(scan.errors);
  agedFileCount.fetch_add(scan.agedFiles, std::memory_order_relaxed);
  TAV_DEBUG("CM: Load cache. File count = %d. Total size = %d bytes", static_cast<int>(FileCount()),
            TotalSize());
}

bool CacheManager::Append(RecordList& records) {
  loader_.DeleteConsumed();
  {
    const OversizedRecords oversized(records);
    CountCacheErrors(oversized.Count());
    while (!records.Empty() && !state_.disabled && AppendToOneFile(records)) {
    }
  }
  return records.Empty();
}

// False if the append must end here.
bool CacheManager::AppendToOneFile(RecordList& records) {
  state_.directories.Own().Refresh(state_.clock());
  CacheFileWriter writer(state_.directories.Own(), state_.maxFileSize);
  const CacheFileWriter::Opening opening = writer.Open();
  CountCacheErrors(writer.PassedOver());
  if (opening != CacheFileWriter::Opening::Opened) {
    state_.disabled = opening == CacheFileWriter::Opening::Never;
    CountCacheErrors();
    return false;
  }
  if (!writer.Write(records, onStored_)) {
    state_.directories.Own().Refresh(state_.clock());
    CountCacheErrors();
    return false;
  }
  if (writer.Sequence() >= kMaxCacheSequence) {
    LogWarning("CM: The last cache file number is in use");
    CountCacheErrors();
    return false;
  }
  EnforceLimit();
  return true;
}

// Deletes the oldest files until the others are within the limit, but never the newest own one,
// which holds the records just stored. Refreshes the list first: the sequence number of a file that
// was consumed may now belong to a new one.
void CacheManager::EnforceLimit() {
  const auto limit = static_cast<int>(std::min<uint64_t>(
      uint64_t{state_.maxFileSize} * state_.maxFiles, std::numeric_limits<int32_t>::max()));
  if (state_.directories.TotalSize() >= limit) {
    state_.Refresh();
  }
  const auto isLeased = [this](const CacheDirectory& directory, int sequence) {
    return loader_.Current().Holds(directory, sequence);
  };
  while (state_.directories.TotalSize() >= limit) {
    CacheFile oldest;
    CacheDirectory* const directory = state_.directories.FindOldest(isLeased, oldest);
    if (directory == nullptr) {
      return;
    }
    LogWarning("CM: Cache is full (%d, %d)", TotalSize(), limit);
    switch (TryToDelete(*directory, oldest.sequence)) {
      case CacheDirectory::Deletion::Deleted:
        LogWarning("CM: Deleted a cache file of %lld bytes because the cache is full",
                   static_cast<long long>(oldest.size));
        break;
      case CacheDirectory::Deletion::InUse:
        // If another manager does not consume it, the next refresh finds it.
        directory->Forget(oldest.sequence);
        break;
      case CacheDirectory::Deletion::Failed:
        PassOverCacheFile(*directory, oldest.sequence, "delete");
        break;
    }
  }
}

void CacheManager::DeleteAll() {
  TAV_DEBUG("CM: Deleting all cache files");
  for (CacheDirectory& directory : state_.directories) {
    for (const int sequence : directory.ListSequences()) {
      DeleteFrom(directory, sequence);
    }
  }
  state_.Refresh();
}

int CacheManager::GetFileSequence(size_t index) const {
  return index < state_.directories.Own().Files().size()
             ? state_.directories.Own().Files()[index].sequence
             : 0;
}

bool CacheManager::DeleteFrom(CacheDirectory& directory, int sequence) {
  const CacheDirectory::Deletion deletion = TryToDelete(directory, sequence);
  if (deletion == CacheDirectory::Deletion::Failed) {
    state_.disabled = true;
    LogWarning("*CM: Cannot delete cache file %s. Cache disabled now.",
               directory.PathOf(sequence).c_str());
    CountCacheErrors();
  }
  return deletion == CacheDirectory::Deletion::Deleted;
}

uint32_t CacheManager::ErrorCount() {
  return CacheErrorCount();
}

uint32_t CacheManager::AgedFileCount() {
  return agedFileCount.load(std::memory_order_relaxed);
}

}  // namespace Tav
