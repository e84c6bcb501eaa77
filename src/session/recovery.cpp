#include "session/recovery.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <optional>
#include <utility>

#include "cache/cache_file_name.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "session/product_versions.h"
#include "util/logger.h"
#include "util/now.h"
#include "util/storage_directory.h"

namespace Tav {

namespace {

// Of all journals of dead runs together: a host that crashes at each start must not fill the disk.
constexpr int64_t kMaxBytes = int64_t{128} << 20;
constexpr int64_t kRetentionMilliseconds = int64_t{30} * 86400 * 1000;

constexpr int kMillisecondsPerSecond = 1000;
// Seconds.
constexpr int kRetryInterval = 1;
constexpr int kNothingLeft = 86400;
// The process whose journal was in use may have ended since, or its crash dump been written.
constexpr int kSearchInterval = 600;

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

bool Recovery::Left() const {
  return !searched_ || current_ != nullptr || !files_.empty();
}

int Recovery::Timeout() const {
  if (intake_.Disabled()) {
    return kNothingLeft;
  }
  const int64_t now = Platform::MonotonicMilliseconds();
  if (Left()) {
    return now < retryAt_ ? kRetryInterval : 0;
  }
  return !someInUse_       ? kNothingLeft
         : now < searchAt_ ? static_cast<int>((searchAt_ - now) / kMillisecondsPerSecond) + 1
                           : 0;
}

void Recovery::Run(int milliseconds) {
  const int64_t end = Platform::MonotonicMilliseconds() + milliseconds;
  while (Timeout() == 0 && (milliseconds < 0 || Platform::MonotonicMilliseconds() < end)) {
    Step();
  }
}

void Recovery::Step() {
  if (Timeout() != 0) {
    return;
  }
  if (!Left()) {
    searched_ = false;
  }
  if (!searched_) {
    Search();
  } else if (current_ == nullptr) {
    Begin();
  } else if (current_->unsaved == nullptr && current_->events->Empty()) {
    End();
  } else {
    StoreRecord();
  }
  if (recovered_ && !Left()) {
    recovered_ = false;
    const RecordStore& store = delivery_.Store();
    delivery_.Schedule().SetInitialWaitTime(ReadClocks(), store.CacheSize(), store.OldestCached());
  }
}

void Recovery::SearchAgain() {
  if (someInUse_ && !Left()) {
    searched_ = false;
    Search();
  }
}

void Recovery::Search() {
  if (std::exchange(searched_, true)) {
    return;
  }
  someInUse_ = false;
  searchAt_ = Platform::MonotonicMilliseconds() + int64_t{kSearchInterval} * kMillisecondsPerSecond;
  directory_ = GetStorageDirectory(config_.storage);
  std::vector<std::string> names;
  if (directory_.empty() || !Platform::ListFiles(directory_.c_str(), names)) {
    return;
  }
  const auto find = [&](const std::string& version) {
    FindOf(JournalPrefix(config_.productName, version, config_.deployment), names);
  };
  find(config_.productVersion);
  for (const std::string& version : OtherVersions(app_.Product().Identity(), config_.storage)) {
    find(version);
  }
  if (!consent_.AllowsReports()) {
    for (const Found& file : files_) {
      DeleteFile(file.path);
    }
    files_.clear();
  }
  EnforceBound();
  std::reverse(files_.begin(), files_.end());
}

// Adds the journals with the prefix, in the order in which their runs began.
void Recovery::FindOf(const std::string& prefix, const std::vector<std::string>& names) {
  std::vector<Found> found;
  for (const std::string& name : names) {
    if (name == own_.FileName() || !IsJournalFileName(prefix, name)) {
      continue;
    }
    Found file{directory_ + Platform::kPathSeparator + name};
    std::unique_ptr<JournalFile> journal;
    const JournalFile::Lease lease = JournalFile::Take(file.path, journal);
    someInUse_ = someInUse_ || lease == JournalFile::Lease::InUse;
    if (lease == JournalFile::Lease::Taken) {
      file.startTime = journal->Head().StartTime();
      file.size = journal->Size();
      if (const std::optional<CacheNote> note = journal->Head().ReadCacheNote()) {
        delivery_.Store().DropAccepted({static_cast<int>(note->fileSequence),
                                        static_cast<int64_t>(note->acceptedBytes), note->checksum});
      }
      found.push_back(std::move(file));
    }
  }
  std::ranges::sort(found, {}, &Found::startTime);
  files_.insert(files_.end(), std::make_move_iterator(found.begin()),
                std::make_move_iterator(found.end()));
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
    const auto oldest = std::ranges::min_element(files_, {}, &Found::startTime);
    LogWarning("SM: The journals of earlier runs take too much space. Deleting '%s' (%lld bytes)",
               oldest->path.c_str(), LongLong{oldest->size});
    total -= oldest->size;
    DeleteFile(oldest->path);
    files_.erase(oldest);
  }
}

// A record that cannot be stored is kept for another attempt.
void Recovery::StoreRecord() {
  if (current_->unsaved == nullptr) {
    current_->unsaved = current_->builder->BuildOneJsonRecord(*current_->events, {});
  }
  if (current_->unsaved != nullptr) {
    if (!delivery_.Store().CacheRecovered(current_->unsaved)) {
      retryAt_ = Platform::MonotonicMilliseconds() + kRetryInterval * kMillisecondsPerSecond;
      return;
    }
    recovered_ = true;
  }
  current_->events->Settle();
}

void Recovery::Begin() {
  const Found found = std::move(files_.back());
  files_.pop_back();
  std::unique_ptr<JournalFile> file;
  if (JournalFile::Take(found.path, file) != JournalFile::Lease::Taken) {
    return;
  }
  auto current = std::make_unique<Current>();
  current->path = found.path;
  current->builder = MakeBuilder(found, *file);
  current->events = std::make_unique<DeadEvents>(std::move(file), *current->builder, intake_);
  DeadJournal& journal = current->events->Journal();
  if (IsTooOld(journal.NewestTime())) {
    LogWarning("SM: The journal '%s' is too old. Deleting %lld bytes", found.path.c_str(),
               LongLong{found.size});
    journal.Remove();
    return;
  }
  TAV_DEBUG("SM: Recovering the events of the journal '%s'", found.path.c_str());
  current_ = std::move(current);
}

std::unique_ptr<RecordBuilder> Recovery::MakeBuilder(const Found& found,
                                                     const JournalFile& file) const {
  auto builder = std::make_unique<RecordBuilder>(app_.Product(), app_.Machine().Client(), consent_);
  builder->SetMaxRecordSize(builder_.MaxRecordSize());
  if (std::optional<RunBlock> run = DecodeRunBlock(file.Head().RunBlockBytes())) {
    builder->SetBreadcrumbLength(run->breadcrumbLength);
    builder->SetSessionEnvironment(std::move(run->sessionEnvironment));
    builder->SetHeader(HeaderOf(std::move(*run), app_.Machine().EndpointId()));
  } else {
    LogWarning(
        "SM: The description of the run in the journal '%s' is damaged. That of this run "
        "takes its place",
        found.path.c_str());
    builder->SetHeader(builder_.Header());
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
  if (!journal.Remove()) {
    LogWarning("SM: Cannot delete the journal '%s': %s", current_->path.c_str(),
               std::strerror(errno));
  }
  current_.reset();
}

}  // namespace Tav
