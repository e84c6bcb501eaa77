// Recovery: the events that runs left in their journals because their process died, or because they
// could neither send nor store everything, become records in the cache.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "journal/journal_file.h"
#include "model/library_config.h"
#include "session/app_status.h"
#include "session/delivery.h"
#include "session/intake.h"
#include "session/record_builder.h"
#include "session/run_journal.h"

namespace Tav {

// The events of a dead run that are not settled and that no rule drops.
class DeadEvents final : public EventSource {
 public:
  // Borrows the last two. The builder learns the settled events, which errors may refer to.
  DeadEvents(std::unique_ptr<JournalFile> file, RecordBuilder& builder, const Intake& intake);

  bool Empty() const override { return !next_; }
  const EntryView* First() override { return next_ ? &next_->view : nullptr; }
  void RemoveFirst() override;

  // Settles everything before First() in the file.
  void Settle();
  DeadJournal& Journal() { return journal_; }

 private:
  void ReadNext();

  DeadJournal journal_;
  RecordBuilder& builder_;
  const Intake& intake_;
  std::optional<DeadJournal::Item> next_;
  std::optional<DeadJournal::Item> passed_;  // the last one before next_
};

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
      : config_(config),
        consent_(consent),
        app_(app),
        intake_(intake),
        builder_(builder),
        own_(own),
        delivery_(delivery) {}

  // Finds the journals, unless it was done before, and shortens cache files of which a dead run has
  // sent a part. Call it before the cache is loaded.
  void Search();
  // Searches again if a journal was in use: its process may have ended since.
  void SearchAgain();
  // Does what takes a short time: finds the journals, begins or ends one, or stores one record.
  void Step();
  // Steps for at most so many milliseconds, without limit if negative.
  void Run(int milliseconds);
  // Seconds until the next step; a day if nothing is left.
  int Timeout() const;

 private:
  struct Found {
    std::string path;
    int64_t startTime = 0;
    int64_t size = 0;
  };
  struct Current {
    std::string path;
    std::unique_ptr<RecordBuilder> builder;
    std::unique_ptr<DeadEvents> events;
    std::unique_ptr<BuiltRecord> unsaved;  // could not be stored yet
  };

  bool Left() const;
  void FindOf(const std::string& prefix, const std::vector<std::string>& names);
  void DeleteFile(const std::string& path);
  void EnforceBound();
  void Begin();
  std::unique_ptr<RecordBuilder> MakeBuilder(const Found& found, const JournalFile& file) const;
  void StoreRecord();
  void End();

  const LibraryConfig& config_;
  const Consent consent_;
  const AppStatus& app_;
  const Intake& intake_;
  const RecordBuilder& builder_;
  const RunJournal& own_;
  Delivery& delivery_;
  bool searched_ = false;
  bool someInUse_ = false;  // at the last search
  int64_t searchAt_ = 0;    // monotonic milliseconds; when to look at them again
  bool recovered_ = false;  // a record, since the last sending was planned
  std::string directory_;
  std::vector<Found> files_;  // the next one is the last
  std::unique_ptr<Current> current_;
  int64_t retryAt_ = 0;  // monotonic milliseconds; after the cache could not be written
};

}  // namespace Tav
