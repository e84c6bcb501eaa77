#include "machine/client_wmi_job.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "platform/thread.h"

namespace Tav {

namespace {

// How long a wait lasts when the system gave no event to wait for.
constexpr int kPollMilliseconds = 100;

}  // namespace

struct WmiJob::Shared {
  // The worker's once it runs.
  std::unique_ptr<Platform::WmiSource> source;
  // The worker's until it has ended, then the owner's.
  std::vector<WmiQuery> queries;
  bool succeeded = false;

  DeferredLog log;
  std::atomic<bool> abandoned{false};
  std::atomic<bool> ended{false};
  Platform::AutoResetEvent endedEvent;
};

WmiJob::WmiJob(std::unique_ptr<Platform::WmiSource> source) : shared_(std::make_shared<Shared>()) {
  shared_->source = std::move(source);
  shared_->queries = MakeWmiQueries();
}

WmiJob::~WmiJob() {
  shared_->abandoned.store(true, std::memory_order_relaxed);
}

bool WmiJob::Start() {
  // Deleted by the thread.
  auto* const share = new std::shared_ptr<Shared>(shared_);
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
    shared.succeeded = RunWmiQueries(*shared.source, shared.queries, shared.abandoned, shared.log);
  } catch (...) {
    // Memory ran out: there is no answer then.
  }
  shared.ended.store(true, std::memory_order_release);
  shared.endedEvent.Set();
  // The connection belongs to this thread; closing it may take a while again.
  shared.source.reset();
}

bool WmiJob::Wait(int milliseconds) {
  if (!shared_->ended.load(std::memory_order_acquire) &&
      shared_->endedEvent.Wait(milliseconds) == Platform::WaitResult::Failed) {
    Platform::SleepMilliseconds(std::min(milliseconds, kPollMilliseconds));
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
