#include <cerrno>

#include "cache/cache_counters.h"
#include "cache/cache_file_reader.h"
#include "cache/cache_manager.h"
#include "platform/file.h"
#include "streams/tav_file_stream.h"
#include "util/logger.h"
#include "util/tav_file.h"

namespace Tav {

namespace {

// The file is gone once it is closed, and with it what could not be read: most often the torn end
// of a write that failed, whose record its writer has kept.
void ReportLoss(const std::string& path, int64_t size, const CacheFileContents& contents) {
  const int64_t lost = size - contents.readBytes;
  if (lost <= 0) {
    return;
  }
  LogWarning("CM: %lld of %lld bytes in cache file '%s' could not be read",
             static_cast<long long>(lost), static_cast<long long>(size), path.c_str());
  if (contents.errors == 0) {
    CountCacheError();
  }
}

}  // namespace

std::vector<int> CacheManager::Sequences() const {
  std::vector<int> sequences;
  sequences.reserve(files_.Count());
  for (size_t i = 0; i < files_.Count(); ++i) {
    sequences.push_back(files_.At(i).sequence);
  }
  return sequences;
}

void CacheManager::Load(RecordList& records) {
  Refresh();
  for (const int sequence : Sequences()) {
    LoadFile(sequence, records);
  }
}

void CacheManager::LoadOldest(RecordList& records) {
  Refresh();
  for (const int sequence : Sequences()) {
    if (LoadFile(sequence, records)) {
      return;
    }
  }
}

// True when a record came of it.
bool CacheManager::LoadFile(int sequence, RecordList& records) {
  const std::string path = PathOf(sequence);
  TAV_DEBUG("CM: Opening cache file for read '%s'", path.c_str());
  TavFile file;
  if (!file.OpenAtomic(path.c_str())) {
    if (file.Missing()) {
      TAV_DEBUG("CM: Cache file '%s' was consumed elsewhere", path.c_str());
      files_.Remove(sequence);
      return false;
    }
    disabled_ = disabled_ || file.LastingFailure();
    LogWarning("CM: Could not open cache file '%s' to load. Cache disabled: %d", path.c_str(),
               disabled_ ? 1 : 0);
    CountCacheError();
    return false;
  }
  Platform::FileStatus status;
  Platform::QueryFileStatus(path.c_str(), status);
  TavFileInputStream input(&file);
  const CacheFileContents contents = ReadCacheFile(&input, records);
  for (uint32_t i = 0; i < contents.errors; ++i) {
    CountCacheError();
  }
  ReportLoss(path, status.size, contents);
  if (!file.Close()) {
    LogWarning("*CM: Cannot close loaded cache file '%s'", path.c_str());
    CountCacheError();
  }
  files_.Remove(sequence);
  return contents.readBytes > 0;
}

}  // namespace Tav
