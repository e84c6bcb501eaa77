// One cache file whose records are being sent. It stays on the disk as it is, with its age, until
// the last record is consumed: accepted by the server, refused and stored again, pulled by the host
// or dropped. Until then no other process can open it. If the process dies, the next run finds the
// whole file.
#pragma once

#include <cstdint>
#include <memory>

#include "cache/cache_directory.h"
#include "model/built_record.h"
#include "util/tav_file.h"

namespace Tav {

// How much of a file is consumed. A run that finds this note drops that part.
struct LeaseNote {
  int sequence = 0;       // the number in the file's name
  int64_t bytes = 0;      // from the beginning of the file
  uint64_t checksum = 0;  // of these bytes: FNV-1a, begun with 0x9E3779B97F4A7C15
};

// Keeps the latest note in a place that survives the process.
class LeaseLog {
 public:
  LeaseLog() = default;
  LeaseLog(const LeaseLog&) = delete;
  LeaseLog& operator=(const LeaseLog&) = delete;
  virtual ~LeaseLog() = default;
  // Called after each consumed record, on the session thread. Throws nothing.
  virtual void Accepted(const LeaseNote& note) = 0;
};

// Failures are logged. Used by one thread at a time.
class CacheLease {
 public:
  bool Held() const { return file_ != nullptr; }
  bool Holds(const CacheDirectory& directory, int sequence) const {
    return Held() && directory_ == &directory && sequence_ == sequence;
  }
  // The size of the held file, in bytes; 0 for none.
  int64_t Size() const;

  // Borrows the directory. The file is open for exclusive use.
  void Begin(CacheDirectory& directory, int sequence, std::unique_ptr<TavFile> file);
  // The next record is consumed. `fileEnd`: see BuiltRecord.
  void Consume(int64_t fileEnd);
  // False if no note can be made: the file has the line layout or cannot be read.
  bool MakeNote(LeaseNote& note);

  // Deletes the file and ends the lease. If the file cannot be deleted, passes over it and returns
  // it, still open for exclusive use.
  std::unique_ptr<TavFile> Discard();
  // Ends the lease. A file of which nothing was consumed stays as it is; any other is rewritten
  // with `rest`, the records that are left, and keeps its age. If that fails, the lease is still
  // held and the file unchanged.
  bool Return(const RecordList& rest);
  // Ends the lease; the file stays as it is.
  void Abandon();

 private:
  CacheDirectory* directory_ = nullptr;
  int sequence_ = 0;
  std::unique_ptr<TavFile> file_;
  bool consumed_ = false;
  int64_t consumedBytes_ = 0;
  int64_t checkedBytes_ = 0;  // that checksum_ covers
  uint64_t checksum_ = 0;
};

// Drops the consumed part of a file that OpenAtomic has opened, and closes the file. False, and no
// change, if the note is not about this file. After a read error, opens the file once more and
// reads it again; if that fails too, the file stays as it is. Adds errors, which are logged, to
// `errors`. Throws std::bad_alloc; the file stays then.
bool DropConsumed(CacheDirectory& directory,
                  TavFile& file,
                  const LeaseNote& note,
                  uint32_t& errors);

}  // namespace Tav
