// Handles the items that host threads put into the queue.
#pragma once

#include "session/app_status.h"
#include "session/delivery.h"
#include "session/intake.h"
#include "session/recovery.h"
#include "session/work_queue.h"
#include "util/now.h"
#include "util/thread.h"

namespace Tav {

// Session thread only.
class ItemHandler final : public RecordStore::Meanwhile {
 public:
  // Borrows all of them; `thread` signals the answers that host threads wait for.
  ItemHandler(Thread& thread,
              WorkQueue& queue,
              RequestData& requests,
              AppStatus& app,
              Intake& intake,
              Delivery& delivery,
              Recovery& recovery)
      : thread_(thread),
        queue_(queue),
        requests_(requests),
        app_(app),
        intake_(intake),
        delivery_(delivery),
        recovery_(recovery) {}

  // In order. An item whose handling throws is dropped with a message; a host that waits still gets
  // an answer.
  void ProcessWork(Work work, const Now& now);
  // While something else takes long, such as a request to the server: takes the queue, answers all
  // questions (Sync items), which depend on no other item, and handles the events before the first
  // other item. ProcessWork handles the rest, in order.
  void Serve() override;
  // Whether there is such a rest.
  bool SomeLeft() const { return !left_.Empty(); }

  // While the stored settings are unknown: leaves the events in the log, keeps the product values,
  // and answers requests with what is known. Nothing is sent.
  void Hold() { holding_ = true; }
  // Handles the kept items and events in order. Later ones are handled as usual.
  void Release(const Now& now);

  // Whether a host waits in Commit for records that are still being sent.
  bool CommitPending() const { return commitPending_; }
  // Sends one slice for that host, and answers it when that was the last one.
  void ContinueCommit();
  // At the end of the run: answers such a host.
  void AnswerUnfinished();

  bool Terminating() const { return terminating_; }
  // Whether a host has suspended sending.
  bool Suspended() const { return suspended_; }
  // Whether a host has announced termination. Timed flushes then stop: termination sends or caches
  // the records.
  bool SuspendedForTermination() const { return suspendedForTermination_; }

  // Returns a pulled record to the store if no host has taken it.
  void RestorePulled();

 private:
  void ProcessSafely(WorkItemPtr item, const Now& now);
  void ProcessItem(WorkItemPtr item, const Now& now);
  void AnswerFailed(ItemCode code);
  bool ProcessHeld(WorkItemPtr& item);
  void TakeEvents(EventLog::Position end, const Now& now);
  void OnEvent(const EventReader::Item& event, const Now& now);
  void ReportRefused();
  void AnswerQuestions(const Now& now);
  void OnCommit();
  void SendForCommit();
  void OnPullData();
  void OnPushData();

  Thread& thread_;
  WorkQueue& queue_;
  RequestData& requests_;
  AppStatus& app_;
  Intake& intake_;
  Delivery& delivery_;
  Recovery& recovery_;
  EventLog::Position taken_ = 0;      // events before it are handled
  EventLog::Position heldEnd_ = 0;    // while holding: events before it were queued
  EventLog::Position servedEnd_ = 0;  // the end of the work that Serve took last
  WorkList held_;
  WorkList left_;  // taken from the queue, not handled yet
  bool holding_ = false;
  bool commitPending_ = false;
  bool terminating_ = false;
  bool suspended_ = false;
  bool suspendedForTermination_ = false;
};

}  // namespace Tav
