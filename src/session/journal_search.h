// Finds the journals that earlier runs of the product have left, of all its versions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "model/library_config.h"
#include "session/app_status.h"
#include "session/intake.h"
#include "session/record_store.h"
#include "session/run_journal.h"

namespace Tav {

// By the time of its newest event, in milliseconds since 1970. An implausible time counts as now,
// as that of a cache file does: a clock that was wrong must not delete events.
bool IsTooOldJournal(int64_t newest);
// No later time can make the journal too old.
bool IsRecentJournal(int64_t newest);

// Session thread only. A journal whose process lives is left alone.
class JournalSearch final : public CachedRecords::LoadObserver {
 public:
  struct Found {
    std::string path;
    int64_t startTime = 0;  // of the run, in milliseconds since 1970
    int64_t size = 0;       // bytes
    bool known = true;      // the format
  };

  // Borrows all but `consent`. `own` is the journal of this run.
  JournalSearch(const LibraryConfig& config,
                Consent consent,
                const AppStatus& app,
                const RunJournal& own,
                RecordStore& store)
      : config_(config), consent_(consent), app_(app), own_(own), store_(store) {}

  // Before the run creates its own journal: deletes the oldest journals of its version beyond the
  // bounds. A run that dies early, or is disabled, gets no further.
  void MakeRoom();
  // Lists the journals in the folder. Shortens cache files of which a dead run has sent a part.
  // Deletes the journals after an opt-out, and the oldest ones beyond the bounds; also those of an
  // unknown format, which Next never returns. Only while Empty.
  void Search();
  // Shortens cache files of which a run has sent a part that has died since the search.
  void BeforeLoad() override;
  // Seconds until a search is due: the first one, or another one because a journal was in use.
  // Nothing if none is.
  std::optional<int> Timeout() const;
  bool Searched() const { return searched_; }
  // At the last search.
  bool SomeInUse() const { return someInUse_; }

  bool Empty() const { return files_.empty(); }
  // The journals of the own version come first; those of one version by the start of their runs.
  std::optional<Found> Next();

 private:
  bool ListFolder(std::vector<std::string>& names);
  std::string OwnPrefix() const;
  void FindOf(const std::string& prefix, const std::vector<std::string>& names);
  void ApplyNote(const JournalFile& journal);
  void AddUnknown(Found file, std::vector<Found>& found);
  void DeleteFile(const std::string& path);
  void EnforceBounds();

  const LibraryConfig& config_;
  const Consent consent_;
  const AppStatus& app_;
  const RunJournal& own_;
  RecordStore& store_;
  std::string directory_;
  std::vector<std::string> prefixes_;  // of the journals of all versions, after a search
  std::vector<Found> files_;           // the next one is the last
  bool searched_ = false;
  bool someInUse_ = false;
  int64_t searchAt_ = 0;  // monotonic milliseconds
};

}  // namespace Tav
