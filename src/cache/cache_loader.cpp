#include "cache/cache_loader.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "cache/cache_file_reader.h"
#include "platform/file.h"
#include "util/logger.h"
#include "util/tav_file.h"

namespace Tav {

CacheLoader::~CacheLoader() {
  DeleteConsumed();
  if (!consumed_.empty()) {
    LogWarning("CM: %d cache files cannot be deleted. Their records will be sent again",
               static_cast<int>(consumed_.size()));
  }
}

void CacheLoader::Load(RecordList& records) {
  state_.Refresh();
  for (CacheDirectory& directory : state_.directories) {
    const std::vector<CacheFile> files = directory.Files();  // loading changes the list
    for (const CacheFile& file : files) {
      if (LeaseFile(directory, file.sequence, records)) {
        EndLease();
      }
    }
  }
}

bool CacheLoader::Lease(RecordList& records) {
  DeleteConsumed();
  state_.Refresh();
  for (CacheDirectory& directory : state_.directories) {
    const std::vector<CacheFile> files = directory.Files();
    for (const CacheFile& file : files) {
      if (LeaseFile(directory, file.sequence, records)) {
        return true;
      }
    }
  }
  return false;
}

// A file is full after the record that reaches its limit. A larger file was not written by the
// library and could take any amount of memory.
int64_t CacheLoader::MaxLoadSize() const {
  return std::max(state_.maxFileSize, CacheState::kDefaultMaxFileSize) +
         ChunkSize(kMaxChunkPayload);
}

// True if the file had a record. Any other file is deleted.
bool CacheLoader::LeaseFile(CacheDirectory& directory, int sequence, RecordList& records) {
  auto file = std::make_unique<TavFile>();
  if (!OpenToLoad(directory, sequence, *file)) {
    return false;
  }
  RecordList found;
  const CacheFileContents contents = ReadOpenCacheFile(*file, directory.PathOf(sequence), found);
  CountCacheErrors(contents.errors);
  if (!file->IsOpen()) {
    PassOverCacheFile(directory, sequence, "load");
    return false;
  }
  lease_.Begin(directory, sequence, std::move(file));
  if (found.Empty()) {
    EndLease();
    return false;
  }
  records.AppendAll(std::move(found));
  return true;
}

bool CacheLoader::EndLease() {
  std::unique_ptr<TavFile> file = lease_.Discard();
  if (file == nullptr) {
    return true;
  }
  CountCacheErrors();
  consumed_.push_back(std::move(file));
  return false;
}

bool CacheLoader::ReturnLease(const RecordList& rest) {
  DeleteConsumed();
  state_.Refresh();
  const bool returned = lease_.Return(rest);
  CountCacheErrors(returned ? 0 : 1);
  return returned;
}

void CacheLoader::DeleteConsumed() {
  std::erase_if(consumed_, [](const std::unique_ptr<TavFile>& file) { return file->Discard(); });
}

// The note has no version: the checksum identifies the file.
void CacheLoader::DropAccepted(const LeaseNote& note) {
  if (note.bytes <= 0) {
    return;
  }
  state_.Refresh();  // another process may have written the file since
  for (CacheDirectory& directory : state_.directories) {
    const CacheFile* const known = directory.Find(note.sequence);
    if (known == nullptr || known->size < note.bytes) {
      continue;
    }
    TavFile file;
    if (OpenToLoad(directory, note.sequence, file)) {
      uint32_t errors = 0;
      const bool found = DropConsumed(directory, file, note, errors);
      CountCacheErrors(errors);
      if (found) {
        return;
      }
    }
  }
}

bool CacheLoader::OpenToLoad(CacheDirectory& directory, int sequence, TavFile& file) {
  const std::string path = directory.PathOf(sequence);
  TAV_DEBUG("CM: Opening cache file for read '%s'", path.c_str());
  if (file.OpenAtomic(path.c_str())) {
    Platform::FileStatus status;
    if (Platform::QueryFileStatus(path.c_str(), status) && status.size > MaxLoadSize()) {
      errno = EFBIG;
      PassOverCacheFile(directory, sequence, "load");
      return false;
    }
    return true;
  }
  if (file.Missing()) {
    TAV_DEBUG("CM: Cache file '%s' was consumed elsewhere", path.c_str());
    directory.Forget(sequence);
    return false;
  }
  LogWarning("CM: Could not open cache file '%s' to load. Cache disabled: %d", path.c_str(),
             state_.disabled ? 1 : 0);
  CountCacheErrors();
  if (file.Unusable()) {
    directory.PassOver(sequence);
  }
  return false;
}

}  // namespace Tav
