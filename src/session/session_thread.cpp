#include "session/session_thread.h"

#include <algorithm>
#include <utility>

#include "session/shutdown.h"
#include "session/startup.h"
#include "session/storage_retry.h"
#include "util/logger.h"
#include "util/now.h"

namespace Tav {

namespace {

// Seconds between two checks whether the description of the machine is complete.
constexpr int kClientInfoPoll = 1;

// Seconds. After a turn that threw, the next one waits at least this long: the reason may persist.
constexpr int kPauseAfterFailure = 1;
// The maximum wait while a timer is armed. A wait, unlike the timers, does not count the time that
// the computer sleeps, so a long one would end too late.
constexpr int kMaxTimedWait = 60;

// While it exists, hosts that ask for the endpoint or the day stamps do not wait for a server that
// is silent or slow, whatever other hosts wait for.
class ServeMeanwhile {
 public:
  explicit ServeMeanwhile(RunParts& parts) : store_(parts.delivery.Store()) {
    store_.SetMeanwhile(&parts.items);
  }
  ~ServeMeanwhile() { store_.SetMeanwhile(nullptr); }
  ServeMeanwhile(const ServeMeanwhile&) = delete;
  ServeMeanwhile& operator=(const ServeMeanwhile&) = delete;

 private:
  RecordStore& store_;
};

}  // namespace

void SessionThread::Run() {
  TAV_DEBUG_HERE("SM: Main. Session thread is running");
  parts_.intake.OnQueueTaken(ReadClocks());  // no event is older
  Startup startup(parts_);
  Shutdown shutdown(parts_.app, parts_.stamps, parts_.delivery, parts_.finalDelivery,
                    parts_.requests, parts_.recovery);
  if (startup.Run(shutdown)) {
    ProcessData();
    shutdown.Run(parts_.loader.get());
  } else {
    startup.RunWithoutSettings();
    parts_.items.Release(ReadClocks());
    shutdown.CacheEverything();
  }
  parts_.journal.Close();
  TAV_DEBUG_HERE("SM: Session thread is exiting");
}

void SessionThread::ProcessData() {
  TAV_DEBUG_HERE("SM: Processing data");
  const RecordStore& store = parts_.delivery.Store();
  parts_.delivery.Schedule().SetInitialWaitTime(ReadClocks(), store.CacheSize(),
                                                store.OldestCached());
  parts_.items.Release(ReadClocks());
  const ServeMeanwhile serve(parts_);
  int minTimeout = 0;
  while (!parts_.items.Terminating()) {
    // What fails for one record or event must not end the thread.
    try {
      ProcessTurn(minTimeout);
      minTimeout = 0;
    } catch (...) {
      LogException("SM: ");
      minTimeout = kPauseAfterFailure;
    }
  }
  parts_.requests.AnswerUnfinished();
  TAV_DEBUG_HERE("SM: ProcessData got terminating");
}

void SessionThread::ProcessTurn(int minTimeout) {
  const Now now = ReadClocks();
  int timeout = parts_.delivery.Schedule().ComputeTimeout(now);
  if (parts_.delivery.Schedule().Armed()) {
    timeout = std::min(timeout, kMaxTimedWait);
  }
  if (parts_.app.Machine().ClientPending()) {
    timeout = std::min(timeout, kClientInfoPoll);
  }
  if (StorageWorkLeft(parts_)) {
    timeout = std::min(timeout, kStorageRetry);
  }
  if (parts_.delivery.Busy() || parts_.flush.CutShort() || parts_.items.SomeLeft()) {
    timeout = 0;
  }
  parts_.delivery.Schedule().CheckTimers(now);
  if (timeout > 0) {
    parts_.journal.Shrink();
  }
  timeout = std::min(timeout, parts_.recovery.Timeout());
  Work work = parts_.queue.TakeWork(std::max(timeout, minTimeout));
  parts_.journal.Refill();
  RetryStorage(parts_);
  parts_.items.ProcessWork(std::move(work), ReadClocks());
  if (parts_.items.Terminating()) {
    return;
  }
  if (parts_.app.Machine().FinishClientInfo(0)) {
    parts_.delivery.Schedule().OnFirstPending(ReadClocks());
  }
  // Only one step, so that hosts are not kept waiting, and after the first events of this run.
  parts_.recovery.Step();
  SendOrFlush();
  parts_.flush.Arm();
}

// Sends one slice, so that a long send delays neither hosts nor a flush.
void SessionThread::SendOrFlush() {
  bool due = true;
  if (parts_.requests.CommitPending()) {
    parts_.requests.ContinueCommit();
  } else {
    due = parts_.delivery.IsSendDue(parts_.items.Suspended());
    if (due) {
      parts_.delivery.SendSome();
    }
  }
  if (parts_.items.SuspendedForTermination()) {
    parts_.flush.End();
  } else if (!due || parts_.delivery.Sending()) {
    parts_.flush.FlushIfDue();
  }
}

}  // namespace Tav
