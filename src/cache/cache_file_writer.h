// Appends records to one cache file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "cache/cache_directory.h"
#include "model/built_record.h"
#include "util/tav_file.h"

namespace Tav {

// Opens a file once, writes once, and is then done. Failures are logged.
class CacheFileWriter {
 public:
  enum class Opening {
    Opened,
    NotNow,  // no number is left or the disk is full
    Never,   // neither the files there can be opened nor new ones made
  };

  // `maxFileSize`: bytes at which a file takes no more records. Borrows `directory`, whose list is
  // up to date.
  CacheFileWriter(CacheDirectory& directory, int64_t maxFileSize)
      : directory_(directory), maxFileSize_(maxFileSize) {}
  CacheFileWriter(const CacheFileWriter&) = delete;
  CacheFileWriter& operator=(const CacheFileWriter&) = delete;

  // Opens the newest file while it has room, otherwise begins the next one; skips files that others
  // have open and files that end with a part of a chunk.
  Opening Open();
  // Writes records until the file is full, closes it, and removes from the list those that are
  // stored whole. False if anything failed; the directory's list is then out of date.
  bool Write(RecordList& records);
  // Of the opened file.
  int Sequence() const { return target_.sequence; }

 private:
  enum class Attempt { Opened, Skipped, Impossible };

  Attempt TryToOpen(int sequence);
  size_t WriteChunks(const RecordList& records);
  size_t CountStored(int64_t begin, const RecordList& records);

  CacheDirectory& directory_;
  const int64_t maxFileSize_;
  TavFile file_;
  std::string path_;
  CacheFile target_;
};

// While it exists, a list is without the records that are too large for a chunk, which are logged.
// They come back at the front of the list.
class OversizedRecords {
 public:
  explicit OversizedRecords(RecordList& records);
  ~OversizedRecords();
  OversizedRecords(const OversizedRecords&) = delete;
  OversizedRecords& operator=(const OversizedRecords&) = delete;

  uint32_t Count() const { return static_cast<uint32_t>(oversized_.Count()); }

 private:
  RecordList& records_;
  RecordList oversized_;
};

}  // namespace Tav
