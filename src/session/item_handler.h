// Handles the items that host threads put into the queue.
#pragma once

#include "session/app_status.h"
#include "session/delivery.h"
#include "session/intake.h"
#include "session/request_handler.h"
#include "session/work_queue.h"
#include "util/now.h"

namespace Tav {

// Session thread only.
class ItemHandler final : public RecordStore::Meanwhile {
 public:
  // Borrows all of them.
  ItemHandler(WorkQueue& queue,
              RequestHandler& requests,
              AppStatus& app,
              Intake& intake,
              Delivery& delivery)
      : queue_(queue), requests_(requests), app_(app), intake_(intake), delivery_(delivery) {}

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

  bool Terminating() const { return terminating_; }
  // Whether a host has suspended sending.
  bool Suspended() const { return suspended_; }
  // Whether a host has announced termination. Timed flushes then stop: termination sends or caches
  // the records.
  bool SuspendedForTermination() const { return suspendedForTermination_; }

 private:
  void ProcessSafely(WorkItemPtr item, const Now& now);
  void ProcessItem(WorkItemPtr item, const Now& now);
  bool ProcessHeld(WorkItemPtr& item);
  void TakeEvents(EventLog::Position end, const Now& now);
  void OnEvent(const EventReader::Item& event, const Now& now);
  void ReportRefused();
  void AnswerQuestions(const Now& now);

  WorkQueue& queue_;
  RequestHandler& requests_;
  AppStatus& app_;
  Intake& intake_;
  Delivery& delivery_;
  EventLog::Position taken_ = 0;      // events before it are handled
  EventLog::Position heldEnd_ = 0;    // while holding: events before it were queued
  EventLog::Position servedEnd_ = 0;  // the end of the work that Serve took last
  WorkList held_;
  WorkList left_;  // taken from the queue, not handled yet
  bool holding_ = false;
  bool terminating_ = false;
  bool suspended_ = false;
  bool suspendedForTermination_ = false;
};

}  // namespace Tav
