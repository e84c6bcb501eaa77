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

constinit std::atomic<uint32_t> errorCount{0};
constinit std::atomic<uint32_t> agedFileCount{0};

// Each has been logged.
void CountErrors(uint32_t count = 1) {
  errorCount.fetch_add(count, std::memory_order_relaxed);
}

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
    : directories_(std::move(storageDirectory), std::move(prefix)), clock_(clock) {
  TAV_TRACE("CM: prefix = '%s'", Prefix().c_str());
  if (!directories_.Own().Exists()) {
    TAV_DEBUG("CM: cache disabled because the PS dir does not exist.");
    disabled_ = true;
  }
}

CacheManager::~CacheManager() {
  DeleteConsumed();
  if (!consumed_.empty()) {
    LogWarning("CM: %d cache files cannot be deleted. Their records will be sent again",
               static_cast<int>(consumed_.size()));
  }
}

int64_t CacheManager::SystemClock() {
  return Platform::UnixMilliseconds() / 1000;
}

void CacheManager::ScanFiles(bool persistentInterval) {
  TAV_DEBUG("CM: Loading cache file names from psDir '%s'. persistentInterval: %d",
            directories_.Own().Path().c_str(), persistentInterval ? 1 : 0);
  const CacheDirectory::Scan scan = directories_.ScanFiles(clock_());
  oldestTime_ = persistentInterval ? scan.oldestTime : 0;
  CountErrors(scan.errors);
  agedFileCount.fetch_add(scan.agedFiles, std::memory_order_relaxed);
  TAV_DEBUG("CM: Load cache. File count = %d. Total size = %d bytes", static_cast<int>(FileCount()),
            TotalSize());
}

bool CacheManager::Append(RecordList& records) {
  DeleteConsumed();
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
  directories_.Own().Refresh(clock_());
  CacheFileWriter writer(directories_.Own(), maxFileSize_);
  const CacheFileWriter::Opening opening = writer.Open();
  CountErrors(writer.PassedOver());
  if (opening != CacheFileWriter::Opening::Opened) {
    disabled_ = opening == CacheFileWriter::Opening::Never;
    CountErrors();
    return false;
  }
  if (!writer.Write(records, onStored_)) {
    directories_.Own().Refresh(clock_());
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

// Deletes the oldest files until the others are within the limit, but never the newest own one,
// which holds the records just stored. Refreshes the list first: the sequence number of a file that
// was consumed may now belong to a new one.
void CacheManager::EnforceLimit() {
  const auto limit = static_cast<int>(
      std::min<uint64_t>(uint64_t{maxFileSize_} * maxFiles_, std::numeric_limits<int32_t>::max()));
  if (directories_.TotalSize() >= limit) {
    directories_.Refresh(clock_());
  }
  const auto isLeased = [this](const CacheDirectory& directory, int sequence) {
    return lease_.Holds(directory, sequence);
  };
  while (directories_.TotalSize() >= limit) {
    CacheFile oldest;
    CacheDirectory* const directory = directories_.FindOldest(isLeased, oldest);
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
        PassOver(*directory, oldest.sequence, "delete");
        break;
    }
  }
}

void CacheManager::Load(RecordList& records) {
  directories_.Refresh(clock_());
  for (CacheDirectory& directory : directories_) {
    const std::vector<CacheFile> files = directory.Files();  // loading changes the list
    for (const CacheFile& file : files) {
      if (LeaseFile(directory, file.sequence, records)) {
        EndLease();
      }
    }
  }
}

bool CacheManager::Lease(RecordList& records) {
  DeleteConsumed();
  directories_.Refresh(clock_());
  for (CacheDirectory& directory : directories_) {
    const std::vector<CacheFile> files = directory.Files();
    for (const CacheFile& file : files) {
      if (LeaseFile(directory, file.sequence, records)) {
        return true;
      }
    }
  }
  return false;
}

// A file is full after the record that reaches its limit. A larger one is not the cache's own and
// could take any amount of memory.
int64_t CacheManager::MaxLoadSize() const {
  return std::max(maxFileSize_, kDefaultMaxFileSize) + ChunkSize(kMaxChunkPayload);
}

// True if the file had a record. Any other file is deleted.
bool CacheManager::LeaseFile(CacheDirectory& directory, int sequence, RecordList& records) {
  auto file = std::make_unique<TavFile>();
  if (!OpenToLoad(directory, sequence, *file)) {
    return false;
  }
  RecordList found;
  const CacheFileContents contents = ReadOpenCacheFile(*file, directory.PathOf(sequence), found);
  CountErrors(contents.errors);
  lease_.Begin(directory, sequence, std::move(file));
  if (found.Empty()) {
    EndLease();
    return false;
  }
  records.AppendAll(std::move(found));
  return true;
}

void CacheManager::EndLease() {
  if (std::unique_ptr<TavFile> file = lease_.Discard()) {
    CountErrors();
    consumed_.push_back(std::move(file));
  }
}

bool CacheManager::ReturnLease(const RecordList& rest) {
  DeleteConsumed();
  directories_.Refresh(clock_());
  const bool returned = lease_.Return(rest);
  CountErrors(returned ? 0 : 1);
  return returned;
}

void CacheManager::DeleteConsumed() {
  std::erase_if(consumed_, [](const std::unique_ptr<TavFile>& file) { return file->Discard(); });
}

// The checksum tells which version's file it is.
void CacheManager::DropAccepted(const LeaseNote& note) {
  for (CacheDirectory& directory : directories_) {
    const CacheFile* const known = directory.Find(note.sequence);
    if (known == nullptr || note.bytes <= 0 || known->size < note.bytes) {
      continue;
    }
    TavFile file;
    if (OpenToLoad(directory, note.sequence, file)) {
      uint32_t errors = 0;
      const bool found = DropConsumed(directory, file, note, errors);
      CountErrors(errors);
      if (found) {
        return;
      }
    }
  }
}

bool CacheManager::OpenToLoad(CacheDirectory& directory, int sequence, TavFile& file) {
  const std::string path = directory.PathOf(sequence);
  TAV_DEBUG("CM: Opening cache file for read '%s'", path.c_str());
  if (file.OpenAtomic(path.c_str())) {
    Platform::FileStatus status;
    if (Platform::QueryFileStatus(path.c_str(), status) && status.size > MaxLoadSize()) {
      errno = EFBIG;
      return PassOver(directory, sequence, "load");
    }
    return true;
  }
  if (file.Missing()) {
    TAV_DEBUG("CM: Cache file '%s' was consumed elsewhere", path.c_str());
    directory.Forget(sequence);
    return false;
  }
  LogWarning("CM: Could not open cache file '%s' to load. Cache disabled: %d", path.c_str(),
             disabled_ ? 1 : 0);
  CountErrors();
  if (file.Unusable()) {
    directory.PassOver(sequence);
  }
  return false;
}

// Returns false. The reason is in errno.
bool CacheManager::PassOver(CacheDirectory& directory, int sequence, const char* cannot) {
  LogWarning("*CM: Cannot %s cache file '%s'. It is passed over", cannot,
             directory.PathOf(sequence).c_str());
  CountErrors();
  directory.PassOver(sequence);
  return false;
}

void CacheManager::DeleteAll() {
  TAV_DEBUG("CM: Deleting all cache files");
  for (CacheDirectory& directory : directories_) {
    for (const int sequence : directory.ListSequences()) {
      DeleteFrom(directory, sequence);
    }
  }
  directories_.Refresh(clock_());
}

int CacheManager::GetFileSequence(size_t index) const {
  return index < directories_.Own().Files().size() ? directories_.Own().Files()[index].sequence : 0;
}

bool CacheManager::DeleteFrom(CacheDirectory& directory, int sequence) {
  const CacheDirectory::Deletion deletion = TryToDelete(directory, sequence);
  if (deletion == CacheDirectory::Deletion::Failed) {
    disabled_ = true;
    LogWarning("*CM: Cannot delete cache file %s. Cache disabled now.",
               directory.PathOf(sequence).c_str());
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
