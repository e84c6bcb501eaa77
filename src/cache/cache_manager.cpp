#include "cache/cache_manager.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <limits>
#include <utility>
#include <vector>

#include "cache/cache_file_name.h"
#include "cache/cache_file_reader.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "util/logger.h"
#include "util/tav_file.h"

namespace Tav {

namespace {

constexpr int64_t kRetentionSeconds = 2'592'000;  // 30 days

constinit std::atomic<uint32_t> errorCount{0};
constinit std::atomic<uint32_t> agedFileCount{0};

// Each has been logged.
void CountErrors(uint32_t count = 1) {
  errorCount.fetch_add(count, std::memory_order_relaxed);
}

}  // namespace

CacheManager::CacheManager(std::string storageDirectory, std::string prefix, Clock clock)
    : directory_(std::move(storageDirectory), std::move(prefix)), clock_(clock) {
  TAV_TRACE("CM: prefix = '%s'", Prefix().c_str());
  if (!directory_.Exists()) {
    TAV_DEBUG("CM: cache disabled because the PS dir does not exist.");
    disabled_ = true;
  }
}

int64_t CacheManager::SystemClock() {
  return Platform::UnixMilliseconds() / 1000;
}

// Files last written to at this time or before it are too old.
int64_t CacheManager::Expiry() const {
  return clock_() - kRetentionSeconds;
}

void CacheManager::ScanFiles(bool persistentInterval) {
  TAV_DEBUG("CM: Loading cache file names from psDir '%s'. persistentInterval: %d",
            directory_.Path().c_str(), persistentInterval ? 1 : 0);
  const CacheDirectory::Scan scan = directory_.ScanFiles(Expiry());
  oldestTime_ = persistentInterval ? scan.oldestTime : 0;
  CountErrors(scan.errors);
  agedFileCount.fetch_add(scan.agedFiles, std::memory_order_relaxed);
  TAV_DEBUG("CM: Load cache. File count = %d. Total size = %d bytes", static_cast<int>(FileCount()),
            TotalSize());
}

bool CacheManager::Append(RecordList& records) {
  {
    const OversizedRecords oversized(records);
    CountErrors(oversized.Count());
    while (!records.Empty() && !disabled_ && AppendToOneFile(records)) {
    }
  }
  return records.Empty();
}

// False if the append must end here.
bool CacheManager::AppendToOneFile(RecordList& records) {
  directory_.Refresh(Expiry());
  CacheFileWriter writer(directory_, maxFileSize_);
  const CacheFileWriter::Opening opening = writer.Open();
  CountErrors(writer.PassedOver());
  if (opening != CacheFileWriter::Opening::Opened) {
    disabled_ = opening == CacheFileWriter::Opening::Never;
    CountErrors();
    return false;
  }
  if (!writer.Write(records, onStored_)) {
    directory_.Refresh(Expiry());
    CountErrors();
    return false;
  }
  if (writer.Sequence() >= kMaxCacheSequence) {
    LogWarning("CM: The last cache file number is in use");
    CountErrors();
    return false;
  }
  EnforceLimit();
  return true;
}

// Deletes the oldest files until the others are within the limit, but never the newest, which holds
// the records just stored. Refreshes the list first: the sequence number of a file that was
// consumed may now belong to a new one.
void CacheManager::EnforceLimit() {
  const auto limit = static_cast<int>(
      std::min<uint64_t>(uint64_t{maxFileSize_} * maxFiles_, std::numeric_limits<int32_t>::max()));
  if (directory_.TotalSize() >= limit) {
    directory_.Refresh(Expiry());
  }
  while (FileCount() > 1 && directory_.TotalSize() >= limit) {
    LogWarning("CM: Cache is full (%d, %d)", TotalSize(), limit);
    const int oldest = GetFileSequence(0);
    switch (TryToDelete(oldest)) {
      case CacheDirectory::Deletion::Deleted:
        break;
      case CacheDirectory::Deletion::InUse:
        // If another manager does not consume it, the next refresh finds it.
        directory_.Forget(oldest);
        break;
      case CacheDirectory::Deletion::Failed:
        PassOver(oldest, "delete");
        break;
    }
  }
}

void CacheManager::Load(RecordList& records) {
  directory_.Refresh(Expiry());
  const std::vector<CacheFile> files = directory_.Files();  // loading changes the list
  for (const CacheFile& file : files) {
    LoadFile(file.sequence, records);
  }
}

void CacheManager::LoadOldest(RecordList& records) {
  directory_.Refresh(Expiry());
  const std::vector<CacheFile> files = directory_.Files();
  for (const CacheFile& file : files) {
    if (LoadFile(file.sequence, records)) {
      return;
    }
  }
}

// A file is full after the record that reaches its limit. A larger one is not the cache's own and
// could take any amount of memory.
int64_t CacheManager::MaxLoadSize() const {
  return std::max(maxFileSize_, kDefaultMaxFileSize) + ChunkSize(kMaxChunkPayload);
}

// True if the file had a record.
bool CacheManager::LoadFile(int sequence, RecordList& records) {
  TavFile file;
  if (!OpenToLoad(sequence, file)) {
    return false;
  }
  const std::string path = directory_.PathOf(sequence);
  RecordList found;
  const CacheFileContents contents = ReadOpenCacheFile(file, path, found);
  CountErrors(contents.errors);
  if (!file.Discard()) {
    return PassOver(sequence, "delete");
  }
  directory_.Forget(sequence);
  records.AppendAll(std::move(found));
  if (!file.Close()) {
    LogWarning("*CM: Cannot close loaded cache file '%s'", path.c_str());
    CountErrors();
  }
  return contents.readBytes > 0;
}

bool CacheManager::OpenToLoad(int sequence, TavFile& file) {
  const std::string path = directory_.PathOf(sequence);
  TAV_DEBUG("CM: Opening cache file for read '%s'", path.c_str());
  if (file.OpenAtomic(path.c_str())) {
    Platform::FileStatus status;
    if (Platform::QueryFileStatus(path.c_str(), status) && status.size > MaxLoadSize()) {
      errno = EFBIG;
      return PassOver(sequence, "load");
    }
    return true;
  }
  if (file.Missing()) {
    TAV_DEBUG("CM: Cache file '%s' was consumed elsewhere", path.c_str());
    directory_.Forget(sequence);
    return false;
  }
  LogWarning("CM: Could not open cache file '%s' to load. Cache disabled: %d", path.c_str(),
             disabled_ ? 1 : 0);
  CountErrors();
  if (file.Unusable()) {
    directory_.PassOver(sequence);
  }
  return false;
}

// Returns false. The reason is in errno.
bool CacheManager::PassOver(int sequence, const char* cannot) {
  LogWarning("*CM: Cannot %s cache file '%s'. It is passed over", cannot,
             directory_.PathOf(sequence).c_str());
  CountErrors();
  directory_.PassOver(sequence);
  return false;
}

void CacheManager::SetLimits(uint32_t maxFiles, uint32_t maxFileSize) {
  maxFiles_ = maxFiles;
  maxFileSize_ = maxFileSize;
}

void CacheManager::DeleteAll() {
  TAV_DEBUG("CM: Deleting all cache files");
  for (const int sequence : directory_.ListSequences()) {
    DeleteFile(sequence);
  }
  directory_.Refresh(Expiry());
}

int CacheManager::GetFileSequence(size_t index) const {
  return index < FileCount() ? directory_.Files()[index].sequence : 0;
}

CacheDirectory::Deletion CacheManager::TryToDelete(int sequence) {
  const std::string path = directory_.PathOf(sequence);
  TAV_DEBUG("CM: Deleting cache file %s", path.c_str());
  const CacheDirectory::Deletion deletion = directory_.Delete(sequence);
  if (deletion == CacheDirectory::Deletion::InUse) {
    TAV_DEBUG("CM: Cache file %s is in use and stays", path.c_str());
  }
  return deletion;
}

bool CacheManager::DeleteFile(int sequence) {
  const CacheDirectory::Deletion deletion = TryToDelete(sequence);
  if (deletion == CacheDirectory::Deletion::Failed) {
    disabled_ = true;
    LogWarning("*CM: Cannot delete cache file %s. Cache disabled now.",
               directory_.PathOf(sequence).c_str());
    CountErrors();
  }
  return deletion == CacheDirectory::Deletion::Deleted;
}

uint32_t CacheManager::ErrorCount() {
  return errorCount.load(std::memory_order_relaxed);
}

uint32_t CacheManager::AgedFileCount() {
  return agedFileCount.load(std::memory_order_relaxed);
}

}  // namespace Tav
