// Turns events that earlier runs left in their journals into records in the cache. A run leaves
// them if its process dies, or if it can neither send nor store everything.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "journal/journal_file.h"
#include "model/library_config.h"
#include "session/app_status.h"
#include "session/dead_events.h"
#include "session/delivery.h"
#include "session/intake.h"
#include "session/journal_search.h"
#include "session/record_builder.h"
#include "session/run_journal.h"

namespace Tav {

// Session thread only. A journal whose process lives is left alone.
class Recovery {
 public:
  // Borrows all but `consent`.
  Recovery(const LibraryConfig& config,
           Consent consent,
           const AppStatus& app,
           const Intake& intake,
           const RecordBuilder& builder,
           const RunJournal& own,
           Delivery& delivery)
      : consent_(consent),
        app_(app),
        intake_(intake),
        builder_(builder),
        delivery_(delivery),
        search_(config, consent, app, own, delivery.Store()) {
    delivery.Store().SetLoadObserver(&search_);
  }
  ~Recovery() { delivery_.Store().SetLoadObserver(nullptr); }

  // See JournalSearch::MakeRoom.
  void MakeRoom() { search_.MakeRoom(); }
  // Finds the journals, unless it was done before, and shortens cache files of which a dead run has
  // sent a part. Call it before the cache is loaded.
  void Search();
  // For a host that waits, or the end of the run: tries again at once what failed, and searches
  // again if a journal was in use, because its process may have ended since.
  void SearchAgain();
  // One short step: finds the journals, begins or ends one, reads a part of it, or stores one
  // record.
  void Step();
  // Repeats Step for at most so many milliseconds, or without limit if negative.
  void Run(int milliseconds);
  // Seconds until the next step; a day if nothing is left.
  int Timeout() const;

 private:
  struct Current {
    std::string path;
    int64_t size = 0;  // bytes
    std::unique_ptr<RecordBuilder> builder;
    std::unique_ptr<DeadEvents> events;
    std::unique_ptr<BuiltRecord> unsaved;  // could not be stored yet
    size_t undated = 0;                    // segments before the age is known
    int64_t newest = 0;                    // milliseconds since 1970
  };

  bool Left() const;
  void Begin();
  std::unique_ptr<RecordBuilder> MakeBuilder(const JournalSearch::Found& found,
                                             const JournalFile& file) const;
  void Continue();
  void CheckAge();
  void StoreRecord();
  void End();

  const Consent consent_;
  const AppStatus& app_;
  const Intake& intake_;
  const RecordBuilder& builder_;
  Delivery& delivery_;
  JournalSearch search_;
  bool recovered_ = false;  // a record was cached since the schedule was last updated
  std::unique_ptr<Current> current_;
  int64_t retryAt_ = 0;    // monotonic milliseconds; after the cache could not be written
  int retryInterval_ = 0;  // seconds; after that failure
};

}  // namespace Tav
