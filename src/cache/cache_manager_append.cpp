#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

#include "cache/cache_counters.h"
#include "cache/cache_file_name.h"
#include "cache/cache_file_reader.h"
#include "cache/cache_manager.h"
#include "platform/file.h"
#include "streams/buffered_stream.h"
#include "streams/chunk_stream.h"
#include "streams/tav_file_stream.h"
#include "util/logger.h"
#include "util/tav_file.h"

namespace Tav {

namespace {

// Files in a row that others may hold. Far more than processes of one product run at once.
constexpr int kMostOpenings = 64;
// Files in a row that could not even be made. Several, since another process may consume a file
// between the attempt to open it and the question whether it exists.
constexpr int kMostImpossible = 3;

int64_t ChunkSize(const BuiltRecord& record) {
  return static_cast<int64_t>(record.bytes.size() + kChunkOverhead);
}

int ForLog(int64_t bytes) {
  return static_cast<int>(std::min<int64_t>(bytes, std::numeric_limits<int32_t>::max()));
}

// A crash during an append leaves a part of a chunk, and nothing behind that part could be read:
// the end of a file is looked at before the first chunk is put behind what others wrote.
bool EndsWithWholeChunk(const std::string& path, int64_t size) {
  TavFile file;
  if (!file.OpenForUpdate(path.c_str())) {
    return false;
  }
  TavFileInputStream input(&file);
  const bool whole = WholeChunkBytes(&input) == size;
  if (!whole) {
    TAV_DEBUG("CM: Cache file '%s' does not end with a whole record", path.c_str());
  }
  return whole;
}

// How many records of the list stand whole in the file after a failed write, which began at
// `begin`. Asked while nobody else can write to the file; brings `target` up to what the file
// holds.
size_t CountStored(const std::string& path,
                   int64_t begin,
                   const RecordList& records,
                   CacheFile& target) {
  target.size = begin;
  target.wholeSize = begin;
  Platform::FileStatus status;
  if (!Platform::QueryFileStatus(path.c_str(), status)) {
    return 0;
  }
  target.size = status.size;
  size_t count = 0;
  for (const BuiltRecord* record = records.First(); record != nullptr;
       record = record->next.get()) {
    if (target.wholeSize + ChunkSize(*record) > status.size) {
      break;
    }
    target.wholeSize += ChunkSize(*record);
    ++count;
  }
  return count;
}

// Keeps records that no chunk can hold away from the others, and puts them back at the front.
class OversizedRecords {
 public:
  explicit OversizedRecords(RecordList& records) : records_(records) {
    RecordList fitting;
    while (std::unique_ptr<BuiltRecord> record = records.TakeFirst()) {
      const bool fits = record->bytes.size() <= kMaxChunkPayload;
      (fits ? fitting : oversized_).Append(std::move(record));
    }
    records = std::move(fitting);
  }
  OversizedRecords(const OversizedRecords&) = delete;
  OversizedRecords& operator=(const OversizedRecords&) = delete;
  ~OversizedRecords() {
    while (std::unique_ptr<BuiltRecord> record = records_.TakeFirst()) {
      oversized_.Append(std::move(record));
    }
    records_ = std::move(oversized_);
  }

  void Report() const {
    for (const BuiltRecord* record = oversized_.First(); record; record = record->next.get()) {
      LogWarning("CM: Record of %d bytes is too large for the cache", record->Size());
      CountCacheError();
    }
  }

 private:
  RecordList& records_;
  RecordList oversized_;
};

}  // namespace

bool CacheManager::Append(RecordList& records) {
  {
    const OversizedRecords oversized(records);
    oversized.Report();
    while (!records.Empty() && !disabled_ && AppendToOneFile(records)) {
    }
  }
  return records.Empty();
}

// False when the append ends here.
bool CacheManager::AppendToOneFile(RecordList& records) {
  TavFile file;
  CacheFile target;
  if (!OpenForAppend(file, target)) {
    CountCacheError();
    return false;
  }
  TAV_DEBUG("CM: Append data to cache '%s'. Cur file sz: %d.", PathOf(target.sequence).c_str(),
            ForLog(target.size));
  if (!WriteChunks(file, target, records)) {
    Refresh();
    CountCacheError();
    return false;
  }
  target.wholeSize = target.size;
  files_.Put(target);
  TAV_DEBUG("CM: file size now %d", ForLog(target.size));
  if (target.sequence >= kLastCacheSequence) {
    LogWarning("CM: The last cache file number is in use");
    CountCacheError();
    return false;
  }
  EnforceBound();
  return true;
}

bool CacheManager::OpenForAppend(TavFile& file, CacheFile& target) {
  Refresh();
  int sequence = 1;
  if (!files_.Empty()) {
    const CacheFile& newest = files_.Newest();
    sequence = newest.sequence + (newest.size >= maxFileSize_ ? 1 : 0);
  }
  std::string path;
  int reason = 0;
  int impossible = 0;
  for (int i = 0; i < kMostOpenings && impossible < kMostImpossible; ++i, ++sequence) {
    if (sequence > kLastCacheSequence) {
      LogWarning("CM: No cache file number is left");
      return false;
    }
    path = PathOf(sequence);
    TAV_DEBUG("CM: Formed cache file name '%s'", path.c_str());
    target = {sequence, 0, CacheFile::kUnknown};
    const Opening opening = TryToOpen(file, path, target);
    if (opening == Opening::Opened) {
      return true;
    }
    reason = errno;
    impossible += opening == Opening::Impossible ? 1 : 0;
  }
  // A full disk passes.
  disabled_ = reason != ENOSPC;
  errno = reason;
  LogWarning("*CM: Cannot open cache file '%s'. Disabling cache: %d", path.c_str(),
             disabled_ ? 1 : 0);
  return false;
}

// Opens a file at whose end a chunk may stand, and completes `target`.
CacheManager::Opening CacheManager::TryToOpen(TavFile& file,
                                              const std::string& path,
                                              CacheFile& target) {
  Platform::FileStatus before;
  const bool exists = Platform::QueryFileStatus(path.c_str(), before);
  if (before.size > 0) {
    const CacheFile* const known = files_.Find(target.sequence);
    const bool whole = known != nullptr && known->wholeSize == before.size;
    if (before.size >= maxFileSize_ || (!whole && !EndsWithWholeChunk(path, before.size))) {
      return Opening::InUse;
    }
  }
  if (!file.OpenForAppend(path.c_str())) {
    return exists || !(file.LastingFailure() || file.Missing()) ? Opening::InUse
                                                                : Opening::Impossible;
  }
  // Nobody else writes from here on, but somebody may have before the lock was taken.
  Platform::FileStatus now;
  if (!Platform::QueryFileStatus(path.c_str(), now) || (now.size != before.size && now.size > 0)) {
    file.Close();
    return Opening::InUse;
  }
  target.size = now.size;
  return Opening::Opened;
}

// Writes what fits into the file, closes it, and takes what is stored whole off the list.
bool CacheManager::WriteChunks(TavFile& file, CacheFile& target, RecordList& records) {
  const int64_t begin = target.size;
  size_t count = 0;
  {
    TavFileOutputStream output(&file);
    BufferedOutputStream buffered(&output);
    ChunkOutputStream chunks(&buffered);
    const BuiltRecord* record = records.First();
    while (record != nullptr && !chunks.HasError() && (count == 0 || target.size < maxFileSize_)) {
      chunks.Write(record->bytes.data(), record->bytes.size());
      target.size += ChunkSize(*record);
      record = record->next.get();
      ++count;
    }
    chunks.Flush();
  }
  const std::string path = PathOf(target.sequence);
  if (file.Failed()) {
    count = CountStored(path, begin, records, target);
  }
  if (!file.Close()) {
    // The system may have dropped any of it: twice is better than never.
    count = 0;
  }
  const bool complete = !file.Failed();
  if (!complete) {
    LogWarning("CM: Cannot write to cache file '%s': %s", path.c_str(), file.ErrorText());
  }
  // Nobody writes behind a part of a chunk, so this one is nobody else's.
  if (begin == 0 && target.wholeSize == 0 && target.size > 0) {
    TavFile::Delete(path.c_str());
  }
  for (; count > 0; --count) {
    records.TakeFirst();
  }
  return complete;
}

// The newest file is never the one to go: it holds what has just been stored. The list is looked at
// anew first: the number of a file that was consumed meanwhile may stand for a new one.
void CacheManager::EnforceBound() {
  const int64_t limit = static_cast<int64_t>(
      std::min<uint64_t>(uint64_t{maxFileSize_} * maxFiles_, std::numeric_limits<int32_t>::max()));
  if (files_.TotalSize() >= limit) {
    Refresh();
  }
  while (files_.Count() > 1 && files_.TotalSize() >= limit && !disabled_) {
    LogWarning("CM: Cache is full (%d, %d)", TotalSize(), static_cast<int>(limit));
    const int oldest = files_.Oldest().sequence;
    if (!DeleteFile(oldest)) {
      // Whoever has it in use consumes it, or it is found again.
      files_.Remove(oldest);
    }
  }
}

}  // namespace Tav
