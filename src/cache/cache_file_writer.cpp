#include "cache/cache_file_writer.h"

#include <cerrno>
#include <memory>
#include <utility>

#include "cache/cache_file_name.h"
#include "cache/cache_file_reader.h"
#include "platform/error.h"
#include "platform/file.h"
#include "streams/chunk_stream.h"
#include "streams/file_stream.h"
#include "streams/filter_stream.h"
#include "util/logger.h"

namespace Tav {

namespace {

// Files in a row that may turn out to be unusable. Far more than processes of one product run at
// once.
constexpr int kMaxAttempts = 64;
// Files in a row that could not even be made. More than one, since another process may consume a
// file between the failed open and the check whether it exists.
constexpr int kMaxImpossible = 3;

}  // namespace

CacheFileWriter::Opening CacheFileWriter::Open() {
  int sequence = 1;
  if (!directory_.Files().empty()) {
    const CacheFile& newest = directory_.Files().back();
    sequence = newest.sequence + (newest.size >= maxFileSize_ ? 1 : 0);
  }
  int reason = 0;
  int impossible = 0;
  for (int i = 0; i < kMaxAttempts && impossible < kMaxImpossible; ++sequence) {
    if (directory_.IsPassedOver(sequence)) {
      continue;
    }
    ++i;
    if (sequence > kMaxCacheSequence) {
      LogWarning("CM: No cache file number is left");
      return Opening::NotNow;
    }
    const Attempt attempt = TryToOpen(sequence);
    if (attempt == Attempt::Opened) {
      return Opening::Opened;
    }
    reason = errno;
    impossible += attempt == Attempt::Impossible ? 1 : 0;
  }
  const bool never = impossible == kMaxImpossible && reason != ENOSPC;
  errno = reason;
  LogWarning("*CM: Cannot open cache file '%s'. Disabling cache: %d", path_.c_str(), never ? 1 : 0);
  return never ? Opening::Never : Opening::NotNow;
}

// Completes `target_` when the file is open and a chunk may be added at its end.
CacheFileWriter::Attempt CacheFileWriter::TryToOpen(int sequence) {
  path_ = directory_.PathOf(sequence);
  TAV_DEBUG("CM: Formed cache file name '%s'", path_.c_str());
  target_ = {sequence, 0, CacheFile::kUnknown, 0};
  Platform::FileStatus before;
  const bool isNew = !Platform::QueryFileStatus(path_.c_str(), before) && errno == ENOENT;
  if (before.size > 0) {
    const CacheFile* const known = directory_.Find(sequence);
    const bool whole = known != nullptr && known->wholeSize == before.size;
    if (before.size >= maxFileSize_ || (!whole && !EndsWithWholeChunk(before.size))) {
      return Attempt::Skipped;
    }
  }
  if (!file_.OpenForAppend(path_.c_str())) {
    if (isNew && (file_.Unusable() || file_.Missing())) {
      return Attempt::Impossible;
    }
    return Skip(file_);
  }
  // The lock keeps others from writing now, but one may have written before it was taken.
  Platform::FileStatus now;
  if (!Platform::QueryFileStatus(path_.c_str(), now) || (now.size != before.size && now.size > 0)) {
    file_.Close();
    return Attempt::Skipped;
  }
  target_.size = now.size;
  return Attempt::Opened;
}

// A crash during an append leaves a part of a chunk, behind which nothing can be read. So the end
// of a file that others wrote is checked before the first chunk is added.
bool CacheFileWriter::EndsWithWholeChunk(int64_t size) {
  TavFile file;
  if (!file.OpenForUpdate(path_.c_str())) {
    Skip(file);
    return false;
  }
  TavFileInputStream input(&file);
  const bool whole = WholeChunkBytes(&input) == size;
  if (!whole) {
    TAV_DEBUG("CM: Cache file '%s' does not end with a whole record", path_.c_str());
  }
  return whole;
}

// For a file that exists and could not be opened. Keeps errno.
CacheFileWriter::Attempt CacheFileWriter::Skip(const TavFile& file) {
  if (file.Unusable()) {
    const Platform::ErrorKeeper keeper;
    LogWarning("*CM: Cannot append to cache file '%s'. It is passed over", path_.c_str());
    directory_.PassOver(target_.sequence);
    ++passedOver_;
  }
  return Attempt::Skipped;
}

bool CacheFileWriter::Write(RecordList& records, const OnStored& onStored) {
  const int64_t begin = target_.size;
  TAV_DEBUG("CM: Append data to cache '%s'. Cur file sz: %d.", path_.c_str(), ToInt(begin));
  size_t stored = WriteChunks(records, onStored);
  if (file_.Failed()) {
    stored = CountStored(begin, records);
  }
  if (!file_.Close()) {
    // The system may have dropped any of the data. A record stored twice is better than a lost one.
    stored = 0;
  }
  const bool complete = !file_.Failed();
  if (!complete) {
    LogWarning("CM: Cannot write to cache file '%s': %s", path_.c_str(), file_.ErrorText());
  }
  // A new file without a record. Nobody writes behind a part of a chunk, so nobody else's records
  // are in it.
  if (begin == 0 && stored == 0 && target_.wholeSize == 0 && target_.size > 0) {
    TavFile::Delete(path_.c_str());
  }
  for (; stored > 0; --stored) {
    records.TakeFirst();
  }
  if (complete) {
    target_.wholeSize = target_.size;
    directory_.Put(target_);
    TAV_DEBUG("CM: file size now %d", ToInt(target_.size));
  }
  return complete;
}

// The number of records that were written. At least one, whatever the limit.
size_t CacheFileWriter::WriteChunks(const RecordList& records, const OnStored& onStored) {
  TavFileOutputStream output(&file_);
  BufferedOutputStream buffered(&output);
  ChunkOutputStream chunks(&buffered);
  size_t count = 0;
  const BuiltRecord* record = records.First();
  while (record != nullptr && !chunks.HasError() && (count == 0 || target_.size < maxFileSize_)) {
    chunks.Write(record->bytes.data(), record->bytes.size());
    target_.size += ChunkSize(record->bytes.size());
    if (onStored) {
      chunks.Flush();
      if (!chunks.HasError()) {
        onStored(*record);
      }
    }
    record = record->next.get();
    ++count;
  }
  chunks.Flush();
  return count;
}

// The number of records that are whole in the file after a failed write, which began at `begin`.
// The last one may lack its end mark. Corrects the sizes in `target_`. Needs the lock: nobody else
// can write to the file.
size_t CacheFileWriter::CountStored(int64_t begin, const RecordList& records) {
  target_.size = begin;
  target_.wholeSize = begin;
  Platform::FileStatus status;
  if (!Platform::QueryFileStatus(path_.c_str(), status)) {
    return 0;
  }
  target_.size = status.size;
  size_t count = 0;
  for (const BuiltRecord* record = records.First(); record != nullptr;
       record = record->next.get()) {
    const int64_t end = target_.wholeSize + ChunkSize(record->bytes.size());
    count += end - 1 <= status.size ? 1 : 0;
    if (end > status.size) {
      break;
    }
    target_.wholeSize = end;
  }
  return count;
}

OversizedRecords::OversizedRecords(RecordList& records) : records_(records) {
  RecordList fitting;
  while (std::unique_ptr<BuiltRecord> record = records.TakeFirst()) {
    if (record->bytes.size() <= kMaxChunkPayload) {
      fitting.Append(std::move(record));
      continue;
    }
    LogWarning("CM: Record of %d bytes is too large for the cache", record->Size());
    oversized_.Append(std::move(record));
  }
  records = std::move(fitting);
}

OversizedRecords::~OversizedRecords() {
  while (std::unique_ptr<BuiltRecord> record = records_.TakeFirst()) {
    oversized_.Append(std::move(record));
  }
  records_ = std::move(oversized_);
}

}  // namespace Tav
