#include "session/dead_events.h"

#include <utility>

namespace Tav {

namespace {

// A fraction of a millisecond for most entries; some ten milliseconds if all are remembered.
constexpr int kMaxPassed = 2048;

}  // namespace

DeadEvents::DeadEvents(std::unique_ptr<JournalFile> file,
                       RecordBuilder& builder,
                       const Intake& intake)
    : journal_(std::move(file)), builder_(builder), intake_(intake) {}

void DeadEvents::RemoveFirst() {
  passed_ = std::exchange(next_, std::nullopt);
  ReadOn();
}

void DeadEvents::ReadOn() {
  for (int i = 0; i < kMaxPassed; ++i) {
    next_ = journal_.Next();
    if (!next_) {
      ended_ = true;
      return;
    }
    const EntryView& view = next_->view;
    if (next_->settled) {
      builder_.Remember(view);
    } else if (view.GetVerdict() == Verdict::Open && intake_.Accepts(view.Fields().name)) {
      return;
    }
    passed_ = next_;
  }
  next_.reset();
}

void DeadEvents::Settle() {
  if (passed_) {
    journal_.Settle(*passed_);
  }
}

}  // namespace Tav
