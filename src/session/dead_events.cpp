#include "session/dead_events.h"

#include <utility>

namespace Tav {

DeadEvents::DeadEvents(std::unique_ptr<JournalFile> file,
                       RecordBuilder& builder,
                       const Intake& intake)
    : journal_(std::move(file)), builder_(builder), intake_(intake) {
  ReadNext();
}

void DeadEvents::RemoveFirst() {
  passed_ = std::exchange(next_, std::nullopt);
  ReadNext();
}

void DeadEvents::ReadNext() {
  while ((next_ = journal_.Next())) {
    const EntryView& view = next_->view;
    if (next_->settled) {
      builder_.Remember(view);
    } else if (view.GetVerdict() == Verdict::Open && intake_.Accepts(view.Fields().name)) {
      return;
    }
    passed_ = next_;
  }
}

void DeadEvents::Settle() {
  if (passed_) {
    journal_.Settle(*passed_);
  }
}

}  // namespace Tav
