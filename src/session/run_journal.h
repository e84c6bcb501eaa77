// The journal of this run: provides the segments of the event log in a mapped file, so that the
// events survive the death of the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cache/cache_lease.h"
#include "journal/event_log.h"
#include "journal/journal_file.h"
#include "journal/run_block.h"
#include "session/work_queue.h"

namespace Tav {

// Session thread only. Blocks as the disk does. Without a file, the log stays in memory.
class RunJournal final : public LeaseLog {
 public:
  // Borrows the queue, which must not be used for events once this object is destroyed.
  explicit RunJournal(WorkQueue& queue) : queue_(queue) {}
  // Leaves the file for a later run, unless Close was called.
  ~RunJournal() override;

  // Creates the file, with a name that begins with `prefix`, and its first segments. If it cannot
  // be created, logs the reason. If memory runs out, throws; call it again then.
  void Open(const std::string& directory, std::string_view prefix, const RunBlock& run);
  // Whether events that are neither sent nor cached survive the run.
  bool HasFile() const { return file_ != nullptr && !fileFailed_; }
  // Whether a later run finds the unsettled events from `begin` on and before `end`, also in a file
  // that was given up.
  bool Keeps(EventLog::Position begin, EventLog::Position end) const;
  // The name of the file; empty if there is none.
  const std::string& FileName() const { return name_; }
  // Replaces the description of the run.
  void Update(const RunBlock& run);

  // Keeps enough segments ready. Call it between any two steps of work that may take a while.
  void Refill();
  // Frees the disk space of a burst once all of its events are settled.
  void Shrink();

  // Everything before `end` is delivered, in the cache, or dropped.
  void Settle(EventLog::Position end);

  // Notes in the file which part of a cache file is no longer needed.
  void Accepted(const LeaseNote& note) override;

  // At the end of the run: from now on hosts cannot add events. Deletes the file if nothing is left
  // in it, not even a note about a cache file, part of which a later run would send again.
  void Close();

 private:
  bool AddSegment();
  void MoveToFile();
  void CheckFile();
  bool HasNote() const;
  std::unique_ptr<JournalFile> CreateFile();

  WorkQueue& queue_;
  std::string directory_;
  std::string prefix_;
  std::string name_;
  std::vector<std::byte> run_;
  std::unique_ptr<JournalFile> file_;
  bool fileFailed_ = false;
  bool failing_ = false;  // the last attempt to extend the file failed
  int64_t retryAt_ = 0;   // monotonic milliseconds; when to extend the file after a failure
};

}  // namespace Tav
