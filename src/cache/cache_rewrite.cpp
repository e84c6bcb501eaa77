#include "cache/cache_rewrite.h"

#include <cerrno>
#include <cstdint>
#include <string>

#include "cache/cache_file_name.h"
#include "platform/file.h"
#include "streams/chunk_stream.h"
#include "streams/file_stream.h"
#include "streams/filter_stream.h"
#include "util/logger.h"

namespace Tav {

namespace {

// Another process may take the same free number, so creation is tried several times.
constexpr int kMaxAttempts = 8;

// The file that takes the place of another one. Deleted unless it is kept.
struct Remainder {
  Remainder() = default;
  ~Remainder() {
    if (sequence != 0 && !kept) {
      file.Close();
      TavFile::Delete(path.c_str());
    }
  }
  Remainder(const Remainder&) = delete;
  Remainder& operator=(const Remainder&) = delete;

  TavFile file;
  std::string path;
  int sequence = 0;  // 0: not created
  bool kept = false;
};

// Creates the file after the newest one and locks it.
bool CreateNext(const CacheDirectory& directory, Remainder& rest) {
  int sequence = directory.Files().empty() ? 0 : directory.Files().back().sequence;
  for (int i = 0; i < kMaxAttempts && sequence < kMaxCacheSequence; ++i) {
    rest.path = directory.PathOf(++sequence);
    Platform::FileStatus status;
    const bool isNew = !Platform::QueryFileStatus(rest.path.c_str(), status) && errno == ENOENT;
    if (!isNew || !rest.file.OpenForAppend(rest.path.c_str())) {
      continue;
    }
    if (Platform::QueryFileStatus(rest.path.c_str(), status) && status.size == 0) {
      rest.sequence = sequence;
      return true;
    }
    rest.file.Close();
  }
  return false;
}

// The bytes written, -1 on failure.
int64_t WriteAll(const RecordList& records, TavFile& file) {
  TavFileOutputStream output(&file);
  BufferedOutputStream buffered(&output);
  ChunkOutputStream chunks(&buffered);
  int64_t bytes = 0;
  for (const BuiltRecord* record = records.First(); record; record = record->next.get()) {
    if (record->bytes.size() > kMaxChunkPayload) {
      return -1;
    }
    chunks.Write(record->bytes.data(), record->bytes.size());
    bytes += static_cast<int64_t>(record->bytes.size() + kChunkOverhead);
  }
  chunks.Flush();
  return file.Failed() ? -1 : bytes;
}

}  // namespace

// The new file first has a number of its own, so that each name belongs to a whole file at any
// moment. It takes the old name when that is free. If another process takes the old name first, the
// new file keeps its number. A crash leaves one of the two files, or both. The new file is closed
// before the old one is deleted, since a failed close may mean lost data; then others may already
// append to it.
bool RewriteCacheFile(CacheDirectory& directory,
                      int sequence,
                      TavFile& file,
                      const RecordList& records) {
  const std::string path = directory.PathOf(sequence);
  Platform::FileStatus old;
  Remainder rest;
  int64_t size = 0;
  bool written = true;
  if (!records.Empty()) {
    written = Platform::QueryFileStatus(path.c_str(), old) && CreateNext(directory, rest);
    size = written ? WriteAll(records, rest.file) : -1;
    written = size >= 0 && rest.file.SetModified(old.modifiedAt) && rest.file.Close();
  }
  if (!written || !file.Discard()) {
    Platform::FileStatus now;
    rest.kept = written && Platform::QueryFileStatus(rest.path.c_str(), now) && now.size != size;
    LogWarning("*CM: Cannot rewrite cache file '%s'. It stays as it is", path.c_str());
    return false;
  }
  rest.kept = true;
  file.Close();
  directory.Forget(sequence);
  if (!records.Empty()) {
    const bool renamed = Platform::RenameFile(rest.path.c_str(), path.c_str());
    directory.Put({renamed ? sequence : rest.sequence, size, size, old.modifiedAt});
    TAV_DEBUG("CM: Rewrote cache file '%s' with %lld bytes", path.c_str(),
              static_cast<long long>(size));
  }
  return true;
}

}  // namespace Tav
