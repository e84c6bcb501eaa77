#include "gateway/store/sqlite_store.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <future>
#include <string>
#include <system_error>
#include <utility>

#include "gateway/file_path.h"
#include "gateway/store/sqlite_eraser.h"
#include "gateway/store/sqlite_schema.h"

namespace Gateway {
namespace {

constexpr std::size_t kMaxBatch = 100;
constexpr int kReaders = 3;

// A slice takes 50 ms at most; while records arrive, there is one a second.
constexpr std::int64_t kSlice = 500;
constexpr std::chrono::seconds kBetweenSlices{1};
constexpr std::chrono::hours kBetweenRetentions{1};

// The log is emptied when nothing was written for so long.
constexpr std::chrono::seconds kIdle{1};
constexpr std::chrono::minutes kAfterFailure{1};

std::int64_t Now() {
  return std::chrono::floor<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

std::size_t MemoryOf(const std::vector<Property>& properties) {
  std::size_t size = properties.size() * sizeof(Property);
  for (const Property& property : properties) {
    size += property.key.size() + property.text.size();
  }
  return size;
}

// About how many bytes the rows take in memory: of a hostile record, ten times its text.
std::size_t MemoryOf(const RecordRows& rows) {
  std::size_t size = MemoryOf(rows.productEnvironment.values) + MemoryOf(rows.machine.values) +
                     rows.events.size() * sizeof(EventRow) +
                     rows.sessions.size() * sizeof(SessionPart);
  for (const EventRow& event : rows.events) {
    size += event.session.size() + event.name.size() + event.code.size() + event.trace.size() +
            MemoryOf(event.properties) + MemoryOf(event.sessionEnvironment);
  }
  return size;
}

// A database that all connections of this process with its name have in common.
std::string NewMemoryName() {
  static std::atomic<unsigned> made{0};
  return "file:/tav-" + std::to_string(++made) + "?vfs=memdb";
}

SqliteOptions WithName(SqliteOptions options) {
  if (options.path == kInMemory) {
    options.path = NewMemoryName();
  }
  return options;
}

Database OpenFile(const SqliteOptions& options) {
  using std::filesystem::perms;
  std::error_code ignored;
  const std::filesystem::path path = FilePath(options.path);
  const bool isNew = !std::filesystem::exists(path, ignored);
  Database database(options.path, Database::Access::Write, static_cast<int>(options.busy.count()));
  if (isNew) {
    // The log and the index beside the file get its permissions.
    std::filesystem::permissions(path, perms::owner_read | perms::owner_write, ignored);
  }
  PrepareStore(database);
  return database;
}

}  // namespace

SqliteStore::SqliteStore(SqliteOptions options)
    : options_(WithName(std::move(options))), database_(OpenFile(options_)) {
  writer_ = std::make_unique<SqliteWriter>(database_);
  readers_ = std::make_unique<SqliteReaders>(options_.path, kReaders);
  thread_ = std::thread([this] { Run(); });
}

SqliteStore::~SqliteStore() {
  {
    const std::scoped_lock guard(lock_);
    isEnding_ = true;
  }
  isWork_.notify_one();
  thread_.join();
}

bool SqliteStore::IsFull(std::size_t addedBytes) const {
  return waiting_.size() >= options_.maxWaiting ||
         (!waiting_.empty() && waitingBytes_ + addedBytes > options_.maxWaitingBytes);
}

void SqliteStore::Add(std::shared_ptr<const Record> record, Done done) {
  const std::size_t bytes =
      record->text.size() + (record->rows != nullptr ? MemoryOf(*record->rows) : 0);
  {
    const std::scoped_lock guard(lock_);
    if (!IsFull(bytes)) {
      waitingBytes_ += bytes;
      waiting_.push_back({std::move(record), std::move(done), bytes});
      isWork_.notify_one();
      return;
    }
  }
  done({AddOutcome::Failed, "too many records wait for the store"});
}

Answer SqliteStore::Ask(std::string_view question, const Parameters& parameters) {
  ParsedQuestion parsed = ParseQuestion(question, parameters);
  return parsed.query ? readers_->Ask(*parsed.query, options_.deadline) : std::move(parsed.refusal);
}

std::int64_t SqliteStore::Forget(std::string_view digest, std::string& error) {
  if (digest.empty()) {
    error = "no digest is given";
    return -1;
  }
  std::promise<std::int64_t> deleted;
  {
    const std::scoped_lock guard(lock_);
    jobs_.emplace_back([&] {
      try {
        deleted.set_value(ForgetDigest(database_, digest));
      } catch (const std::exception& failure) {
        error = failure.what();
        deleted.set_value(-1);
      }
    });
    isWork_.notify_one();
  }
  return deleted.get_future().get();
}

void SqliteStore::Run() {
  Batch batch;
  std::function<void()> job;
  while (Take(batch, job)) {
    if (!batch.empty()) {
      Write(batch);
      batch.clear();
    } else if (job) {
      job();
      job = nullptr;
      writer_->ForgetNumbers();
    }
    Maintain();
  }
}

bool SqliteStore::Take(Batch& batch, std::function<void()>& job) {
  std::unique_lock guard(lock_);
  const Clock::time_point next =
      std::min(hasLog_ ? nextEmptying_ : Clock::time_point::max(),
               options_.retentionDays > 0 ? nextRetention_ : Clock::time_point::max());
  const auto hasWork = [this] { return isEnding_ || !jobs_.empty() || !waiting_.empty(); };
  if (next == Clock::time_point::max()) {
    isWork_.wait(guard, hasWork);
  } else {
    isWork_.wait_until(guard, next, hasWork);
  }
  // Records that came before a job are written before it.
  while (!waiting_.empty() && batch.size() < kMaxBatch) {
    waitingBytes_ -= waiting_.front().bytes;
    batch.push_back(std::move(waiting_.front()));
    waiting_.pop_front();
  }
  if (batch.empty() && !jobs_.empty()) {
    job = std::move(jobs_.front());
    jobs_.pop_front();
  }
  return !isEnding_ || !batch.empty() || job;
}

bool SqliteStore::IsExpired(const Record& record, const RecordRows& rows) const {
  return options_.retentionDays > 0 &&
         AgeFrom(rows, ArrivalOf(record)) < Now() - options_.retentionDays * kDay;
}

std::vector<AddResult> SqliteStore::WriteTogether(const Batch& batch) {
  std::vector<AddResult> results;
  Transaction transaction(database_);
  writer_->Begin();
  for (const Waiting& waiting : batch) {
    const auto rows = RowsOf(*waiting.record);
    results.push_back({IsExpired(*waiting.record, *rows) ? AddOutcome::Expired
                                                         : writer_->Add(*waiting.record, *rows),
                       {}});
  }
  transaction.Commit();
  return results;
}

AddResult SqliteStore::WriteOne(const Waiting& waiting) {
  try {
    return WriteTogether({waiting}).front();
  } catch (const std::exception& failure) {
    writer_->ForgetNumbers();
    return {AddOutcome::Failed, failure.what()};
  }
}

void SqliteStore::Write(const Batch& batch) {
  std::vector<AddResult> results;
  bool isOneByOne = false;
  try {
    results = WriteTogether(batch);
  } catch (const SqliteError& failure) {
    writer_->ForgetNumbers();
    isOneByOne = !failure.IsOfMedium();
    results.assign(batch.size(), {AddOutcome::Failed, failure.what()});
  } catch (const std::exception& failure) {
    writer_->ForgetNumbers();
    results.assign(batch.size(), {AddOutcome::Failed, failure.what()});
  }
  for (std::size_t i = 0; i < batch.size(); ++i) {
    batch[i].done(isOneByOne ? WriteOne(batch[i]) : results[i]);
  }
  hasLog_ = true;
  nextEmptying_ = Clock::now() + kIdle;
}

bool SqliteStore::IsIdle() {
  const std::scoped_lock guard(lock_);
  return waiting_.empty() && jobs_.empty();
}

// Deletes one slice.
void SqliteStore::ApplyRetention() {
  const std::int64_t deleted =
      DeleteOlder(database_, Now() - options_.retentionDays * kDay, kSlice);
  hasDeleted_ = hasDeleted_ || deleted > 0;
  hasLog_ = hasLog_ || deleted > 0;
  if (deleted == kSlice) {
    nextRetention_ = Clock::now() + (IsIdle() ? std::chrono::seconds(0) : kBetweenSlices);
    return;
  }
  if (hasDeleted_) {
    DeleteOrphans(database_);
    writer_->ForgetNumbers();
    hasDeleted_ = false;
  }
  nextRetention_ = Clock::now() + kBetweenRetentions;
}

void SqliteStore::Maintain() {
  const Clock::time_point now = Clock::now();
  const bool isRetention = options_.retentionDays > 0 && now >= nextRetention_;
  try {
    if (isRetention) {
      ApplyRetention();
      isRetentionFailing_ = false;
    } else if (hasLog_ && now >= nextEmptying_) {
      hasLog_ = !EmptyLog(database_);
      nextEmptying_ = now + kIdle;
    }
  } catch (const std::exception& failure) {
    // The file is locked, full or read-only; records that arrive meanwhile are refused with the
    // reason.
    if (isRetention && !std::exchange(isRetentionFailing_, true)) {
      std::fprintf(stderr, "gateway: old records are not deleted; next try in a minute: %s\n",
                   failure.what());
    }
    nextRetention_ = now + kAfterFailure;
    nextEmptying_ = now + kAfterFailure;
  }
}

}  // namespace Gateway
