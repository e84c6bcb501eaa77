#include "machine/client_wmi_job.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "util/logger.h"
#include "util/text.h"
#include "util/thread.h"

namespace Tav {

namespace {

// The longest single wait for a row, in milliseconds: a detached worker ends within it.
constexpr int kMaxRowWait = 250;
constexpr size_t kMaxTextBytes = 1023;  // of a value
constexpr size_t kMaxLine = 2048;

void WriteLine(LogLevel level, const char* format, ...) TAV_PRINTF(2, 3);

void WriteLine(LogLevel level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  LogMessage(level, format, arguments);
  va_end(arguments);
}

// Keeps the worker's messages until the owner logs them.
class DeferredLog {
 public:
  // Cuts a message that is longer than a log line.
  void Add(LogLevel level, const char* format, ...) TAV_PRINTF(3, 4);

  // Logs the messages on the calling thread.
  void Write();

 private:
  struct Line {
    LogLevel level;
    std::string text;
  };

  Platform::Lock lock_;
  std::vector<Line> lines_;  // guarded by lock_
};

void DeferredLog::Add(LogLevel level, const char* format, ...) {
  if (!LogEnabled(level)) {
    return;
  }
  char text[kMaxLine];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  Line line{level, length < 0 ? format : text};
  const std::lock_guard guard(lock_);
  lines_.push_back(std::move(line));
}

void DeferredLog::Write() {
  std::vector<Line> lines;
  {
    const std::lock_guard guard(lock_);
    lines.swap(lines_);
  }
  for (const Line& line : lines) {
    WriteLine(line.level, "%s", line.text.c_str());
  }
}

bool OpenSource(Platform::WmiSource& source, DeferredLog& log) {
  using Platform::WmiStep;
  const Platform::WmiOpenResult result = source.Open();
  if (result.failedStep == WmiStep::None || result.failedStep == WmiStep::SetSecurity) {
    log.Add(LogLevel::Trace, "Successfully connected to ROOT\\CIMV2 WMI namespace");
  }
  switch (result.failedStep) {
    case WmiStep::None:
      return true;
    case WmiStep::Initialize:
      log.Add(LogLevel::Debug, "Failed to initialize COM library. Error code = %ld", result.status);
      break;
    case WmiStep::CreateLocator:
      log.Add(LogLevel::Debug, "Failed to create IWbemLocator object. Error code = %ld",
              result.status);
      break;
    case WmiStep::Connect:
      log.Add(LogLevel::Debug, "Could not connect. Error code = %ld", result.status);
      break;
    case WmiStep::SetSecurity:
      log.Add(LogLevel::Debug, "Could not set proxy blanket. Error code = %ld", result.status);
      break;
  }
  log.Add(LogLevel::Debug, "Failed to set up WMI via COM");
  return false;
}

std::string ReadValue(Platform::WmiSource& source, const std::string& property, DeferredLog& log) {
  log.Add(LogLevel::Trace, "Getting WMI value for field: %s", property.c_str());
  Platform::WmiValue value;
  if (source.Get(property, value) < 0) {
    log.Add(LogLevel::Debug, "Failed to get field value ");
    return {};
  }
  if (!value.supported) {
    log.Add(LogLevel::Debug, "Variant Type not supported: %d", value.type);
  }
  value.text.resize(CutUtf8(value.text, kMaxTextBytes).size());
  log.Add(LogLevel::Trace, "WMI field value: %s", value.text.c_str());
  return std::move(value.text);
}

WmiRow ReadRow(Platform::WmiSource& source, const WmiQuery& query, DeferredLog& log) {
  WmiRow row;
  for (const WmiProperty& property : query.properties) {
    std::string name(property.name);
    std::string value = ReadValue(source, name, log);
    if (!value.empty()) {
      row.emplace(std::move(name), std::move(value));
    }
  }
  return row;
}

// False when the query failed or the worker was detached.
bool RunQuery(Platform::WmiSource& source,
              WmiQuery& query,
              const std::atomic<bool>& detached,
              DeferredLog& log) {
  log.Add(LogLevel::Trace, "Executing query %s", query.text.c_str());
  const long status = source.Execute(query.text);
  if (status < 0) {
    log.Add(LogLevel::Debug, "Executed WMI query failed. Error code = %ld", status);
    return false;
  }
  for (;;) {
    log.Add(LogLevel::Trace, "Getting next WMI object...");
    Platform::WmiNextResult next;
    do {
      if (detached.load(std::memory_order_relaxed)) {
        return false;
      }
      next = source.Next(kMaxRowWait);
    } while (next.timedOut);
    if (next.status < 0 || next.count == 0) {
      log.Add(LogLevel::Trace, "No more WMI data. Status code = %ld, num obj returned = %lu",
              next.status, next.count);
      return true;
    }
    log.Add(LogLevel::Trace, "Got WMI result object.");
    query.rows.push_back(ReadRow(source, query, log));
  }
}

}  // namespace

struct WmiJob::Shared {
  std::unique_ptr<Platform::WmiSource> source;  // the worker's once it runs
  // The worker's until it has ended, then the owner's.
  std::vector<WmiQuery> queries;
  bool succeeded = false;

  DeferredLog log;
  std::atomic<bool> detached{false};
  std::atomic<bool> ended{false};
  Platform::AutoResetEvent endedEvent;

  bool RunQueries() {
    return OpenSource(*source, log) &&
           std::all_of(queries.begin(), queries.end(),
                       [this](WmiQuery& query) { return RunQuery(*source, query, detached, log); });
  }
};

// Not by std::make_shared: without run-time types it needs a part of the C++ run-time that is
// large.
WmiJob::WmiJob(std::unique_ptr<Platform::WmiSource> source) : shared_(new Shared) {
  shared_->source = std::move(source);
  shared_->queries = MakeWmiQueries();
}

WmiJob::~WmiJob() {
  shared_->detached.store(true, std::memory_order_relaxed);
}

bool WmiJob::Start() {
  auto* const share = new std::shared_ptr<Shared>(shared_);  // freed by the worker
  if (!thread_.Start(&WmiJob::Entry, share)) {
    delete share;
    return false;
  }
  return true;
}

void WmiJob::Entry(void* argument) {
  const std::unique_ptr<std::shared_ptr<Shared>> share(
      static_cast<std::shared_ptr<Shared>*>(argument));
  Shared& shared = **share;
  try {
    shared.succeeded = shared.RunQueries();
  } catch (...) {
    // Out of memory: the queries count as failed.
  }
  shared.ended.store(true, std::memory_order_release);
  shared.endedEvent.Set();
  // The connection must be closed on this thread, which may take a while.
  shared.source.reset();
}

bool WmiJob::Wait(int milliseconds) {
  if (!shared_->ended.load(std::memory_order_acquire)) {
    WaitOrPoll(shared_->endedEvent, milliseconds);
  }
  const bool ended = shared_->ended.load(std::memory_order_acquire);
  shared_->log.Write();
  return ended;
}

const std::vector<WmiQuery>* WmiJob::Result() const {
  const bool usable = shared_->ended.load(std::memory_order_acquire) && shared_->succeeded;
  return usable ? &shared_->queries : nullptr;
}

}  // namespace Tav
