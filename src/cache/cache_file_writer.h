// Appends records to one cache file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "cache/cache_directory.h"
#include "model/built_record.h"
#include "util/tav_file.h"

namespace Tav {

// Called when a record is completely on the disk.
using OnStored = std::function<void(const BuiltRecord&)>;

// For one file: one Open, then one Write. Failures are logged.
class CacheFileWriter {
 public:
  enum class Opening {
    Opened,
    NotNow,  // the disk is full, no sequence number is left, or no file could be used
    Never,   // no file can be created
  };

  // Borrows `directory`, whose list must be up to date. A file of `maxFileSize` bytes or more is
  // full.
  CacheFileWriter(CacheDirectory& directory, int64_t maxFileSize)
      : directory_(directory), maxFileSize_(maxFileSize) {}
  CacheFileWriter(const CacheFileWriter&) = delete;
  CacheFileWriter& operator=(const CacheFileWriter&) = delete;

  // Opens the newest file, or creates the next one if it is full. Skips files that others have open
  // and files that end with an incomplete chunk. Passes over files that cannot be opened at all.
  Opening Open();
  // Writes records until the file is full, closes it, and removes from the list those that are
  // stored whole. Calls `onStored`, which may be empty, for each one right after it has been
  // written. False if anything failed; the directory's list is then out of date.
  bool Write(RecordList& records, const OnStored& onStored);
  // Of the opened file.
  int Sequence() const { return target_.sequence; }
  // How many files Open has passed over.
  uint32_t PassedOver() const { return passedOver_; }

 private:
  enum class Attempt { Opened, Skipped, Impossible };

  Attempt TryToOpen(int sequence);
  bool EndsWithWholeChunk(int64_t size);
  Attempt Skip(const TavFile& file);
  size_t WriteChunks(const RecordList& records, const OnStored& onStored);
  size_t CountStored(int64_t begin, const RecordList& records);

  CacheDirectory& directory_;
  const int64_t maxFileSize_;
  TavFile file_;
  std::string path_;
  CacheFile target_;
  uint32_t passedOver_ = 0;
};

// Removes the records that are too large for a chunk from a list, and logs them. The destructor
// puts them back at the front.
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
