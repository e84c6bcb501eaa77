#include "session/recovery.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/clock.h"
#include "util/logger.h"
#include "util/now.h"

namespace Tav {

namespace {

constexpr int kMillisecondsPerSecond = 1000;
// Seconds.
constexpr int kFirstRetryInterval = 1;
constexpr int kMaxRetryInterval = 300;
constexpr int kNothingLeft = 86400;

using LongLong = long long;

RecordHeader HeaderOf(RunBlock run, const std::string& endpointId) {
  RecordHeader header;
  header.product = std::move(run.product);
  header.libraryVersion = std::move(run.libraryVersion);
  header.endpointId = run.endpointId.empty() ? endpointId : run.endpointId;
  header.customerId = std::move(run.customerId);
  header.userId = std::move(run.userId);
  header.productContext = std::move(run.productContext);
  header.productComponentName = std::move(run.productComponentName);
  header.tags = std::move(run.tags);
  return header;
}

}  // namespace

bool Recovery::Left() const {
  return current_ != nullptr || !search_.Empty();
}

void Recovery::Search() {
  if (!search_.Searched()) {
    search_.Search();
  }
}

void Recovery::SearchAgain() {
  retryAt_ = 0;
  if (search_.SomeInUse() && !Left()) {
    search_.Search();
  }
}

int Recovery::Timeout() const {
  if (intake_.Disabled()) {
    return kNothingLeft;
  }
  if (Left()) {
    const int64_t left = retryAt_ - Platform::MonotonicMilliseconds();
    return left > 0 ? static_cast<int>((left - 1) / kMillisecondsPerSecond) + 1 : 0;
  }
  return search_.Timeout().value_or(kNothingLeft);
}

void Recovery::Run(int milliseconds) {
  const int64_t end = Platform::MonotonicMilliseconds() + milliseconds;
  while (Timeout() == 0 && (milliseconds < 0 || Platform::MonotonicMilliseconds() < end)) {
    Step();
    delivery_.Store().PrepareRoom();  // hosts go on meanwhile
  }
}

void Recovery::Step() {
  if (Timeout() != 0) {
    return;
  }
  if (!Left()) {
    search_.Search();
  } else if (current_ == nullptr) {
    Begin();
  } else {
    Continue();
  }
  if (recovered_ && !Left()) {
    recovered_ = false;
    const RecordStore& store = delivery_.Store();
    // A back-off goes on.
    if (store.CacheSize() > 0 && delivery_.Schedule().Failures() == 0) {
      const Now now = ReadClocks();
      const int64_t oldest = store.OldestCached();
      delivery_.Schedule().SetInitialWaitTime(now, store.CacheSize(),
                                              oldest == 0 ? now.unixSeconds : oldest);
    }
  }
}

// If memory runs out, the file is left to a later run.
void Recovery::Continue() try {
  if (current_->undated > 0) {
    CheckAge();
  } else if (!current_->events->Ready()) {
    current_->events->ReadOn();
  } else if (current_->unsaved == nullptr && current_->events->Empty()) {
    End();
  } else {
    StoreRecord();
  }
} catch (...) {
  current_.reset();
  throw;
}

// Looks at one segment, the newest one first: most journals need no other.
void Recovery::CheckAge() {
  DeadJournal& journal = current_->events->Journal();
  current_->newest = std::max(current_->newest, journal.NewestTime(--current_->undated));
  if (IsRecentJournal(current_->newest)) {
    current_->undated = 0;
  } else if (current_->undated == 0 && IsTooOldJournal(current_->newest)) {
    LogWarning("SM: The journal '%s' is too old. Deleting %lld bytes", current_->path.c_str(),
               LongLong{current_->size});
    journal.Remove();
    current_.reset();
    return;
  }
  if (current_->undated == 0) {
    TAV_DEBUG("SM: Recovering the events of the journal '%s'", current_->path.c_str());
  }
}

// A record that cannot be stored is kept for another attempt. Each logs warnings, so they become
// rarer.
void Recovery::StoreRecord() {
  if (current_->unsaved == nullptr) {
    current_->unsaved = current_->builder->BuildOneJsonRecord(*current_->events, {});
  }
  if (current_->unsaved != nullptr) {
    if (!delivery_.Store().CacheRecovered(current_->unsaved)) {
      retryInterval_ = std::clamp(2 * retryInterval_, kFirstRetryInterval, kMaxRetryInterval);
      retryAt_ =
          Platform::MonotonicMilliseconds() + int64_t{retryInterval_} * kMillisecondsPerSecond;
      return;
    }
    retryInterval_ = 0;
    recovered_ = true;
  }
  current_->events->Settle();
}

void Recovery::Begin() {
  const std::optional<JournalSearch::Found> next = search_.Next();
  std::unique_ptr<JournalFile> file;
  if (!next || JournalFile::Take(next->path, file) != JournalFile::Lease::Taken) {
    return;
  }
  const JournalSearch::Found& found = *next;
  auto current = std::make_unique<Current>();
  current->path = found.path;
  current->size = found.size;
  current->builder = MakeBuilder(found, *file);
  current->events = std::make_unique<DeadEvents>(std::move(file), *current->builder, intake_);
  current->undated = current->events->Journal().SegmentCount();
  current_ = std::move(current);
}

std::unique_ptr<RecordBuilder> Recovery::MakeBuilder(const JournalSearch::Found& found,
                                                     const JournalFile& file) const {
  auto builder = std::make_unique<RecordBuilder>(app_.Product(), app_.Machine().Client(), consent_);
  builder->SetMaxRecordSize(builder_.MaxRecordSize());
  if (std::optional<RunBlock> run = DecodeRunBlock(file.Head().RunBlockBytes())) {
    builder->SetBreadcrumbLength(run->breadcrumbLength);
    builder->SetSessionEnvironment(run->sessionEnvironment);
    builder->Header().Set(HeaderOf(std::move(*run), app_.Machine().EndpointId()));
  } else {
    LogWarning(
        "SM: The description of the run in the journal '%s' is damaged. That of this run "
        "takes its place",
        found.path.c_str());
    builder->Header().Set(builder_.Header().Get());
  }
  return builder;
}

void Recovery::End() {
  DeadJournal& journal = current_->events->Journal();
  if (journal.DamagedSegments() > 0) {
    LogWarning("SM: %d parts of the journal '%s' are damaged. The rest of them is lost",
               journal.DamagedSegments(), current_->path.c_str());
  }
  current_->events->Settle();
  if (journal.Unreadable()) {
    LogWarning("SM: The journal '%s' cannot be read completely. It stays for a later run",
               current_->path.c_str());
  } else if (!journal.Remove()) {
    LogWarning("SM: Cannot delete the journal '%s': %s", current_->path.c_str(),
               std::strerror(errno));
  }
  current_.reset();
}

}  // namespace Tav
