// Moves events from acceptance to the server: batches them into records and sends these as the
// schedule says. CacheFlush writes records to the cache, FinalDelivery ends a run.
#pragma once

#include <cstdint>
#include <optional>

#include "session/app_status.h"
#include "session/day_stamps.h"
#include "session/event_batch.h"
#include "session/intake.h"
#include "session/limits.h"
#include "session/record_store.h"
#include "session/send_queue.h"
#include "session/send_schedule.h"
#include "session/uploader.h"

namespace Tav {

// Session thread only, except Sender().SetDeadline.
class Delivery final : RecordSupply {
 public:
  // Borrows all but `consent`. A disabled intake also stops the delivery.
  Delivery(AppStatus& app,
           DayStamps& stamps,
           RecordBuilder& builder,
           const Intake& intake,
           Consent consent,
           RunJournal& journal,
           EventReader& events)
      : app_(app),
        stamps_(stamps),
        intake_(intake),
        journal_(journal),
        store_(consent, app.Changes(), journal),
        batch_(builder, app.Changes(), events),
        queue_(store_, *this),
        uploader_(store_, queue_) {}

  void SetLimits(const Limits& limits);

  // The next event of the log: accepted, or dropped by a rule.
  void Add(const EventReader::Item& event, const Now& now);
  void Skip(const EventReader::Item& event) { batch_.Pending().Skip(event); }
  // Settles the dropped events at the start of the log.
  void SettleDropped();

  // Builds full records, or, with `all`, records of everything that is pending, while there is room
  // for them in memory.
  void ProcessEventList(bool all);
  // The same for one record at most. A send then builds the others.
  void BuildNext(bool all);
  // Builds a record if one is due and decides whether to send now. Ends a send while suspended.
  bool IsSendDue(bool suspended);
  // A send that has begun, or the next one, also delivers all that is pending now.
  void IncludePending() { sendEnd_ = batch_.Pending().End(); }
  // Sends a slice of about a second. After More, call it again soon; the connection stays open
  // until then. Done also when there was nothing to send.
  SendProgress SendSome();
  // Sends all slices. True when the server has accepted everything or there was nothing to send.
  bool SendToServer();
  // Ends a send before its last slice. The next send begins as the schedule says.
  void EndSend();
  // Whether the last slice has left more, or another record is due.
  bool Busy() const { return uploader_.Connected() || batch_.Due(false, store_); }
  bool Sending() const { return uploader_.Connected(); }
  // Whether the intake is disabled and what was pending has been dropped.
  bool Dropped() const { return dropped_; }

  SendSchedule& Schedule() { return schedule_; }
  RecordStore& Store() { return store_; }
  SendQueue& Queue() { return queue_; }
  EventBatch& Batch() { return batch_; }
  Uploader& Sender() { return uploader_; }

 private:
  bool Exhausted() const override { return batch_.Pending().Begin() >= sendEnd_; }
  void Supply() override { BuildNext(true); }
  void DropPending();
  void FinishSend(bool reached);
  void CheckSendThreshold(bool suspended);

  AppStatus& app_;
  DayStamps& stamps_;
  const Intake& intake_;
  RunJournal& journal_;
  SendSchedule schedule_;
  RecordStore store_;
  EventBatch batch_;
  SendQueue queue_;
  Uploader uploader_;
  EventLog::Position sendEnd_ = 0;  // the send delivers the pending events before it
  bool dropped_ = false;
  std::optional<MonotonicTime> retryRefused_;  // from when on refused records are tried again
};

}  // namespace Tav
