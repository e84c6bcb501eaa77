#include "session/run_journal.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/clock.h"
#include "util/logger.h"
#include "util/storage_directory.h"

namespace Tav {

namespace {

// The room for a burst that meets an idle session thread: 8 MiB, some 36,000 events with seven
// properties.
constexpr int64_t kStandingSize = int64_t{8} << 20;
// Segments that are kept ready whatever waits: room for 20,000 events with seven properties.
constexpr size_t kReadySegments = 5;
// A larger file is replaced when it is empty.
constexpr int64_t kMaxIdleSize = int64_t{12} << 20;

// Milliseconds between two attempts to extend the file.
constexpr int64_t kRetryInterval = 1000;

}  // namespace

RunJournal::~RunJournal() {
  if (file_ != nullptr) {
    queue_.WithLog([](EventLog& log) { log.Close(); });
  }
}

void RunJournal::Open(const std::string& directory, std::string_view prefix, const RunBlock& run) {
  if (file_ != nullptr) {
    Refill();
    return;
  }
  directory_ = directory;
  prefix_ = prefix;
  run_ = EncodeRunBlock(run);
  if (directory_.empty() || !Platform::IsLocalDisk(directory_)) {
    TAV_NOTE("SM: No local storage folder. Events are kept in memory only");
    return;
  }
  file_ = CreateFile();
  if (file_ == nullptr) {
    TAV_NOTE("SM: Cannot create a journal (%s). Events are kept in memory only",
             std::strerror(errno));
    return;
  }
  Refill();
}

std::unique_ptr<JournalFile> RunJournal::CreateFile() {
  std::string name = NewJournalFileName(prefix_);
  std::unique_ptr<JournalFile> file =
      JournalFile::Create(JoinPath(directory_, name), run_, Platform::UnixMilliseconds());
  if (file != nullptr) {
    name_ = std::move(name);
  }
  return file;
}

void RunJournal::Update(const RunBlock& run) {
  run_ = EncodeRunBlock(run);
  if (file_ != nullptr && !file_->Head().WriteRunBlock(run_)) {
    LogWarning("SM: The description of the run does not fit into the journal");
  }
}

void RunJournal::Refill() {
  if (file_ == nullptr) {
    return;
  }
  CheckFile();
  MoveToFile();  // settled segments are room, too
  if (Platform::MonotonicMilliseconds() < retryAt_) {
    return;
  }
  while (queue_.WithLog([standing = file_->Size() >= kStandingSize](const EventLog& log) {
    return (!standing || log.Segments().Ready() < kReadySegments) && log.Segments().MayGrow();
  })) {
    if (!AddSegment()) {
      return;
    }
    MoveToFile();
  }
}

bool RunJournal::AddSegment() {
  const bool ready = queue_.Reader().PrepareCopies();
  std::byte* const segment = ready ? file_->AddSegment() : nullptr;
  if (segment == nullptr) {
    if (!std::exchange(failing_, true)) {
      TAV_NOTE("SM: Cannot extend the journal (%s). New events are kept in memory",
               std::strerror(errno));
    }
    queue_.WithLog([](EventLog& log) { log.Segments().StopGrowing(); });
    retryAt_ = Platform::MonotonicMilliseconds() + kRetryInterval;
    return false;
  }
  failing_ = false;
  return queue_.WithLog([segment](EventLog& log) { return log.AddRoom(segment); });
}

// Moves full segments of memory to the file.
void RunJournal::MoveToFile() {
  while (const std::optional<EventLog::Migration> migration =
             queue_.WithLog([](EventLog& log) { return log.BeginMigration(); })) {
    const bool copied = EventLog::Copy(*migration);
    queue_.WithLog(
        [&](EventLog& log) { copied ? log.EndMigration(*migration) : log.Segments().FailTaken(); });
  }
}

// Notices that the file cannot be accessed any more, on this thread or on that of a host.
void RunJournal::CheckFile() {
  const bool unreadable = queue_.Reader().TakeReadFailure();
  const bool failed = queue_.WithLog([unreadable](EventLog& log) {
    if (unreadable) {
      log.Segments().FailFile();
    }
    return log.Segments().FileFailed();
  });
  if (failed && !std::exchange(fileFailed_, true)) {
    LogWarning("SM: The journal '%s' cannot be accessed any more. New events are kept in memory",
               name_.c_str());
  }
  if (unreadable) {
    LogWarning("SM: Events in the journal '%s' could not be read and are lost", name_.c_str());
  }
}

bool RunJournal::Keeps(EventLog::Position begin, EventLog::Position end) const {
  return HasFile() || (file_ != nullptr && queue_.Reader().AreInFile(begin, end));
}

// A file that is mapped cannot be made shorter.
void RunJournal::Shrink() {
  if (!HasFile() || file_->Size() <= kMaxIdleSize || Platform::MonotonicMilliseconds() < retryAt_ ||
      !queue_.WithLog([](const EventLog& log) { return log.Empty(); })) {
    return;
  }
  std::string oldName = name_;
  std::unique_ptr<JournalFile> file = CreateFile();
  std::byte* const segment = file == nullptr ? nullptr : file->AddSegment();
  const bool replaced = segment != nullptr && queue_.WithLog([segment](EventLog& log) {
    if (!log.Empty()) {
      return false;
    }
    while (log.Segments().Remove() != nullptr) {
    }
    return log.AddRoom(segment);
  });
  if (replaced) {
    if (const std::optional<CacheNote> note = file_->Head().ReadCacheNote()) {
      file->Head().WriteCacheNote(*note);
    }
    std::swap(file, file_);
  } else {
    name_ = std::move(oldName);
    retryAt_ = Platform::MonotonicMilliseconds() + kRetryInterval;
  }
  if (file != nullptr && !file->Remove()) {
    TAV_DEBUG("SM: Cannot delete a journal: %s", std::strerror(errno));
  }
  Refill();
}

void RunJournal::Settle(EventLog::Position end) {
  queue_.WithLog([end](EventLog& log) { log.Settle(end); });
}

void RunJournal::Accepted(const LeaseNote& note) {
  if (file_ != nullptr) {
    file_->Head().WriteCacheNote(
        {static_cast<uint32_t>(note.sequence), static_cast<uint64_t>(note.bytes), note.checksum});
  }
}

// There is none once the cache file was rewritten or deleted.
bool RunJournal::HasNote() const {
  const std::optional<CacheNote> note = file_->Head().ReadCacheNote();
  return note && note->acceptedBytes > 0;
}

void RunJournal::Close() {
  queue_.WithLog([](EventLog& log) { log.Close(); });
  if (file_ == nullptr) {
    return;
  }
  CheckFile();
  MoveToFile();
  while (queue_.WithLog([](const EventLog& log) {
    return log.HasMovable() && log.Segments().MayGrow();
  }) && AddSegment()) {
    MoveToFile();
  }
  if (queue_.WithLog([](const EventLog& log) { return log.InMemory(); })) {
    LogWarning("SM: Events that could be neither sent nor stored are lost");
  }
  if (!queue_.WithLog([](const EventLog& log) { return log.Empty(); })) {
    TAV_NOTE("SM: Events that could be neither sent nor stored stay in the journal '%s'",
             name_.c_str());
  } else if (HasNote()) {
    TAV_DEBUG("SM: The journal '%s' stays for its note about a cache file", name_.c_str());
  } else if (!file_->Remove()) {
    TAV_DEBUG("SM: Cannot delete the journal: %s", std::strerror(errno));
  }
  file_.reset();
}

}  // namespace Tav
