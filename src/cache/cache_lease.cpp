#include "cache/cache_lease.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include "cache/cache_file_name.h"
#include "cache/cache_file_reader.h"
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

constexpr uint64_t kEmptyChecksum = 0x9E3779B97F4A7C15;

// Adds the next `bytes` bytes of the file. False if there are fewer.
bool AddToChecksum(TavFile& file, int64_t bytes, uint64_t& sum) {
  constexpr uint64_t kPrime = 0x100000001B3;
  uint8_t buffer[4096];
  bool whole = true;
  while (whole && bytes > 0) {
    const auto wanted = static_cast<size_t>(std::min<int64_t>(bytes, sizeof buffer));
    whole = file.Read(buffer, wanted) == wanted;
    for (size_t i = 0; i < wanted && whole; ++i) {
      sum = (sum ^ buffer[i]) * kPrime;
    }
    bytes -= static_cast<int64_t>(wanted);
  }
  return whole;
}

// What a note does not cover of its file.
struct Uncovered {
  bool found = false;       // the note is about this file
  bool unreadable = false;  // what could not be read would be lost
  RecordList records;
  uint32_t errors = 0;
};

Uncovered ReadUncovered(TavFile& file, const LeaseNote& note) {
  Uncovered rest;
  uint64_t checksum = kEmptyChecksum;
  const bool rewound = file.Rewind();
  rest.found = rewound && AddToChecksum(file, note.bytes, checksum) && checksum == note.checksum;
  if (rest.found) {
    TavFileInputStream input(&file);
    rest.errors = ReadCacheFile(&input, rest.records).errors;
  }
  rest.unreadable = !rewound || file.Failed();
  return rest;
}

// Closes a file that OpenAtomic has opened, and replaces it by one that holds these records and has
// the same age. False if nothing has changed.
//
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

}  // namespace

bool DropConsumed(CacheDirectory& directory,
                  TavFile& file,
                  const LeaseNote& note,
                  uint32_t& errors) {
  const std::string path = directory.PathOf(note.sequence);
  Uncovered rest = ReadUncovered(file, note);
  if (rest.unreadable && file.OpenAtomic(path.c_str())) {  // the error may pass
    rest = ReadUncovered(file, note);
  }
  if (rest.unreadable) {
    LogWarning("CM: Cannot read cache file '%s'. What was accepted of it will be sent again",
               path.c_str());
    ++errors;
    return rest.found;
  }
  if (!rest.found) {
    return false;
  }
  TAV_DEBUG("CM: %lld bytes of cache file '%s' were sent already",
            static_cast<long long>(note.bytes), path.c_str());
  errors += rest.errors;
  errors += RewriteCacheFile(directory, note.sequence, file, rest.records) ? 0 : 1;
  return true;
}

int64_t CacheLease::Size() const {
  const CacheFile* const entry = Held() ? directory_->Find(sequence_) : nullptr;
  return entry != nullptr ? entry->size : 0;
}

void CacheLease::Begin(CacheDirectory& directory, int sequence, std::unique_ptr<TavFile> file) {
  directory_ = &directory;
  sequence_ = sequence;
  file_ = std::move(file);
  consumed_ = false;
  consumedBytes_ = 0;
  checkedBytes_ = 0;
  checksum_ = kEmptyChecksum;
}

void CacheLease::Consume(int64_t fileEnd) {
  consumed_ = true;
  consumedBytes_ = fileEnd;
}

// Nobody else reads the file after the first note, so each one reads on where the last one ended.
bool CacheLease::MakeNote(LeaseNote& note) {
  if (!Held() || consumedBytes_ <= 0 || (checkedBytes_ == 0 && !file_->Rewind()) ||
      !AddToChecksum(*file_, consumedBytes_ - checkedBytes_, checksum_)) {
    return false;
  }
  checkedBytes_ = consumedBytes_;
  note.sequence = sequence_;
  note.bytes = consumedBytes_;
  note.checksum = checksum_;
  return true;
}

std::unique_ptr<TavFile> CacheLease::Discard() {
  const std::string path = directory_->PathOf(sequence_);
  std::unique_ptr<TavFile> file = std::move(file_);
  if (!file->Discard()) {
    LogWarning("*CM: Cannot delete cache file '%s'. It is passed over", path.c_str());
    directory_->PassOver(sequence_);
    return file;
  }
  directory_->Forget(sequence_);
  if (!file->Close()) {
    LogWarning("*CM: Cannot close loaded cache file '%s'", path.c_str());
  }
  return nullptr;
}

bool CacheLease::Return(const RecordList& rest) {
  if (consumed_ && !RewriteCacheFile(*directory_, sequence_, *file_, rest)) {
    return false;
  }
  Abandon();
  return true;
}

void CacheLease::Abandon() {
  file_.reset();
}

}  // namespace Tav
