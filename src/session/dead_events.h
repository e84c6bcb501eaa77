// The events that a run has left in its journal, as a source of records.
#pragma once

#include <memory>
#include <optional>

#include "journal/dead_journal.h"
#include "session/intake.h"
#include "session/record_builder.h"

namespace Tav {

// The events of a dead run that are not settled and that no rule drops.
class DeadEvents final : public EventSource {
 public:
  // Borrows the last two. The builder learns the settled events, which errors may refer to.
  DeadEvents(std::unique_ptr<JournalFile> file, RecordBuilder& builder, const Intake& intake);

  // Reads on to the next event, past a limited number of other entries. Call it until Ready, first
  // of all and after each record.
  void ReadOn();
  bool Ready() const { return next_ || ended_; }

  // Also where a step ends that has passed many entries; the record then ends there.
  bool Empty() const override { return !next_; }
  const EntryView* First() override { return next_ ? &next_->view : nullptr; }
  void RemoveFirst() override;

  // Settles everything before First() in the file.
  void Settle();
  DeadJournal& Journal() { return journal_; }

 private:
  DeadJournal journal_;
  RecordBuilder& builder_;
  const Intake& intake_;
  std::optional<DeadJournal::Item> next_;
  std::optional<DeadJournal::Item> passed_;  // the last one before next_
  bool ended_ = false;
};

}  // namespace Tav
