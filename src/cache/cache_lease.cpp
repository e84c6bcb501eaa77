#include "cache/cache_lease.h"

#include <algorithm>
#include <string>
#include <utility>

#include "cache/cache_file_reader.h"
#include "cache/cache_rewrite.h"
#include "streams/file_stream.h"
#include "util/logger.h"

namespace Tav {

namespace {

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
