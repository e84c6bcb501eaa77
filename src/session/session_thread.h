// The body of the session thread, from start to end: all work after the queue.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "config/config_loader.h"
#include "config/settings_table.h"
#include "model/library_config.h"
#include "session/app_status.h"
#include "session/day_stamps.h"
#include "session/delivery.h"
#include "session/intake.h"
#include "session/item_handler.h"
#include "session/limits.h"
#include "session/record_builder.h"
#include "session/recovery.h"
#include "session/run_journal.h"
#include "session/shutdown.h"
#include "session/work_queue.h"

namespace Tav {

class SessionThread {
 public:
  // `config` is complete; `thread` and `queue` are borrowed from the session manager.
  SessionThread(LibraryConfig config, Thread& thread, WorkQueue& queue);

  // Returns after it has handled the Term item and completed termination.
  void Run();

  // Any thread.
  int TerminateTime() const { return terminateTime_.load(std::memory_order_relaxed); }  // seconds
  void SetFinalDeadline(int64_t monotonicMilliseconds) {
    delivery_.Sender().SetDeadline(monotonicMilliseconds);
  }
  const DayStamps& Stamps() const { return stamps_; }

  // For a host thread with a synchronous request: before queueing it and after the answer.
  RequestData& Requests() { return requests_; }

 private:
  // Start. Waits at most `lockWait` milliseconds for each storage file. False, and no change, while
  // another process has the main file locked.
  bool StartUp(int lockWait);
  // Keeps what hosts report until the file opens. False if it is still locked at the end of the
  // run.
  bool StartUpLater();
  bool CheckAppStatus(int lockWait);
  void LoadTimestamps(int lockWait);
  void ApplyLimits();
  void ApplySettings();
  void OpenCache();
  void OpenJournal();
  RunBlock DescribeRun() const;
  void SetEndpoint();

  // Loop.
  void ProcessData();
  void ProcessTurn(int minTimeout);  // seconds
  void SendOrFlush();
  bool StorageWorkLeft() const;
  void RetryStorage();

  // The end of a run that could not start.
  void EndWithoutSettings();

  LibraryConfig config_;
  const Consent consent_;
  WorkQueue& queue_;
  std::atomic<int> terminateTime_{Setting::kTerminateTime.defaultValue};
  AppStatus app_;
  DayStamps stamps_;
  Intake intake_;
  RunJournal journal_;
  RecordBuilder builder_;
  Delivery delivery_;
  RequestData requests_;
  Recovery recovery_;
  ItemHandler items_;
  Limits limits_;
  ConfigLoaderPtr loader_;  // null when none was started
  Shutdown shutdown_;
};

}  // namespace Tav
