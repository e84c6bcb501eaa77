#include "session/recovery.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/clock.h"
#include "platform/file.h"
#include "util/logger.h"

namespace Tav {

namespace {

// Of all journals of dead runs together: a host that crashes at each start must not fill the disk.
constexpr int64_t kMaxBytes = int64_t{128} << 20;
constexpr int64_t kRetentionMilliseconds = int64_t{30} * 86400 * 1000;

using LongLong = long long;

RecordHeader HeaderOf(RunBlock run, const std::string& endpointId) {
  RecordHeader header;
  header.product = std::move(run.product);
  header.libraryVersion = std::move(run.libraryVersion);
  header.endpointId = run.endpointId.empty() ? endpointId : std::move(run.endpointId);
  header.customerId = std::move(run.customerId);
  header.userId = std::move(run.userId);
  header.productContext = std::move(run.productContext);
  header.productComponentName = std::move(run.productComponentName);
  header.tags = std::move(run.tags);
  return header;
}

// A time in the future counts as now.
bool IsTooOld(int64_t newest) {
  return newest != 0 && newest < Platform::UnixMilliseconds() - kRetentionMilliseconds;
}

}  // namespace

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

void Recovery::Find(const std::string& directory,
                    const std::vector<std::string>& prefixes,
                    const std::string& own,
                    Consent consent) {
  std::vector<std::string> names;
  if (directory.empty() || !Platform::ListFiles(directory.c_str(), names)) {
    return;
  }
  for (const std::string& prefix : prefixes) {
    std::vector<Found> found;
    for (const std::string& name : names) {
      if (name == own || !IsJournalFileName(prefix, name)) {
        continue;
      }
      Found file{directory + Platform::kPathSeparator + name};
      std::unique_ptr<JournalFile> journal;
      if (JournalFile::Take(file.path, journal) == JournalFile::Lease::Taken) {
        file.startTime = journal->Head().StartTime();
        file.size = journal->Size();
        found.push_back(std::move(file));
      }
    }
    std::sort(found.begin(), found.end(),
              [](const Found& a, const Found& b) { return a.startTime < b.startTime; });
    files_.insert(files_.end(), std::make_move_iterator(found.begin()),
                  std::make_move_iterator(found.end()));
  }
  if (!consent.AllowsReports()) {
    for (const Found& file : files_) {
      DeleteFile(file.path);
    }
    files_.clear();
  }
  EnforceBound();
  std::reverse(files_.begin(), files_.end());
}

void Recovery::DeleteFile(const std::string& path) {
  std::unique_ptr<JournalFile> file;
  if (JournalFile::Take(path, file) == JournalFile::Lease::Taken && !file->Remove()) {
    LogWarning("SM: Cannot delete the journal '%s': %s", path.c_str(), std::strerror(errno));
  }
}

void Recovery::EnforceBound() {
  int64_t total = 0;
  for (const Found& file : files_) {
    total += file.size;
  }
  while (total > kMaxBytes) {
    const auto oldest =
        std::min_element(files_.begin(), files_.end(),
                         [](const Found& a, const Found& b) { return a.startTime < b.startTime; });
    LogWarning("SM: The journals of earlier runs take too much space. Deleting '%s' (%lld bytes)",
               oldest->path.c_str(), LongLong{oldest->size});
    total -= oldest->size;
    DeleteFile(oldest->path);
    files_.erase(oldest);
  }
}

bool Recovery::Step(const Run& run) {
  if (current_ == nullptr) {
    Begin(run);
    return true;
  }
  if (current_->unsaved == nullptr) {
    if (current_->events->Empty()) {
      End();
      return true;
    }
    current_->unsaved = current_->builder->BuildOneJsonRecord(*current_->events, {});
  }
  if (current_->unsaved != nullptr) {
    if (!store_.CacheRecovered(current_->unsaved)) {
      return false;
    }
    recovered_ = true;
  }
  current_->events->Settle();
  return true;
}

void Recovery::Begin(const Run& run) {
  const Found found = std::move(files_.back());
  files_.pop_back();
  std::unique_ptr<JournalFile> file;
  if (JournalFile::Take(found.path, file) != JournalFile::Lease::Taken) {
    return;
  }
  auto current = std::make_unique<Current>();
  current->path = found.path;
  current->builder = std::make_unique<RecordBuilder>(run.product, run.client, run.consent);
  current->builder->SetMaxRecordSize(run.maxRecordSize);
  if (std::optional<RunBlock> block = DecodeRunBlock(file->Head().RunBlockBytes())) {
    current->builder->SetBreadcrumbLength(block->breadcrumbLength);
    current->builder->SetSessionEnvironment(std::move(block->sessionEnvironment));
    current->builder->SetHeader(HeaderOf(std::move(*block), run.endpointId));
  } else {
    LogWarning("SM: The description of the run in the journal '%s' is damaged", found.path.c_str());
    RecordHeader header;
    header.endpointId = run.endpointId;
    current->builder->SetHeader(std::move(header));
  }
  current->events = std::make_unique<DeadEvents>(std::move(file), *current->builder, run.intake);
  DeadJournal& journal = current->events->Journal();
  if (const int64_t newest = journal.NewestTime(); IsTooOld(newest)) {
    LogWarning("SM: The journal '%s' is too old. Deleting %lld bytes", found.path.c_str(),
               LongLong{found.size});
    journal.Remove();
    return;
  }
  TAV_DEBUG("SM: Recovering the events of the journal '%s'", found.path.c_str());
  current_ = std::move(current);
}

void Recovery::End() {
  DeadJournal& journal = current_->events->Journal();
  if (journal.DamagedSegments() > 0) {
    LogWarning("SM: %d parts of the journal '%s' are damaged. The rest of them is lost",
               journal.DamagedSegments(), current_->path.c_str());
  }
  current_->events->Settle();
  if (!journal.Remove()) {
    LogWarning("SM: Cannot delete the journal '%s': %s", current_->path.c_str(),
               std::strerror(errno));
  }
  current_.reset();
}

}  // namespace Tav
