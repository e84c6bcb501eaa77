// Recovery: the events that runs left in their journals because their process died, or because they
// could neither send nor store everything, become records in the cache.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "journal/journal_file.h"
#include "session/intake.h"
#include "session/record_builder.h"
#include "session/record_store.h"

namespace Tav {

class ConfigManager;

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
  // What the records of dead runs need of this one. Borrowed.
  struct Run {
    const ProductInfo& product;
    const ClientEnv& client;
    Consent consent;
    const Intake& intake;
    const std::string& endpointId;
    int maxRecordSize;
  };

  explicit Recovery(RecordStore& store) : store_(store) {}

  // Finds the journals in `directory` whose names begin with one of the prefixes, in their order;
  // those of one prefix by the start of their runs. After an opt-out, deletes them. `own` is the
  // file of this run.
  void Find(const std::string& directory,
            const std::vector<std::string>& prefixes,
            const std::string& own,
            Consent consent);
  bool Pending() const { return current_ != nullptr || !files_.empty(); }
  // Stores one record, or begins or ends a journal. False if the cache cannot be written: try again
  // later.
  bool Step(const Run& run);
  // Whether a record was stored since the last call.
  bool TakeRecovered() { return std::exchange(recovered_, false); }

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

  void DeleteFile(const std::string& path);
  void EnforceBound();
  void Begin(const Run& run);
  void End();

  RecordStore& store_;
  std::vector<Found> files_;  // the next one is the last
  std::unique_ptr<Current> current_;
  bool recovered_ = false;
};

}  // namespace Tav
