#include "session/final_delivery.h"

#include "platform/clock.h"
#include "util/logger.h"
#include "util/now.h"

namespace Tav {

namespace {

// Milliseconds, counted from the end of sending, when a second is left. What is not stored stays in
// the journal.
constexpr int64_t kMaxLastFlush = 500;

}  // namespace

void FinalDelivery::SendAtTermination() {
  SendSchedule& schedule = delivery_.Schedule();
  if (schedule.NeverSends()) {
    return;
  }
  if (!schedule.PersistentInterval()) {
    TAV_DEBUG("SM: ProcessTermination: Sending data to server.");
    delivery_.SendToServer();
    return;
  }
  using LongLong = long long;
  const Now now = ReadClocks();
  TAV_DEBUG("SM: ProcessTermination: persistent interval enabled. Now = %lld, waitTime = %lld",
            LongLong{now.unixSeconds}, LongLong{now.ToUnix(schedule.WaitTime())});
  if (schedule.WaitTime() <= now.monotonic) {
    TAV_DEBUG("SM: ProcessTermination: persistent interval is over. Sending data to server.");
    delivery_.SendToServer();
  } else if (schedule.CheckSendThreshold(delivery_.Queue().Backlog())) {
    TAV_DEBUG("SM: ProcessTermination: send threshold has been reached. Sending data to server.");
    delivery_.SendToServer();
  }
}

void FinalDelivery::CacheUnsent() {
  const RecordStore& store = delivery_.Store();
  // After an opt-out, the only unsent record is the opt-out, which the storage files keep.
  if ((store.NothingInMemory() && delivery_.Batch().Pending().Empty()) || !store.UsesCache()) {
    return;
  }
  TAV_DEBUG("SM: ProcessTermination: writing records to cache");
  const int64_t end =
      Platform::MonotonicMilliseconds() + delivery_.Sender().TimeToDeadline() + kMaxLastFlush;
  try {
    flush_.Flush(end);
  } catch (...) {
    LogException("SM: ");
  }
  BuildLost(end);
}

bool FinalDelivery::PendingAreLost() const {
  const PendingEvents& pending = delivery_.Batch().Pending();
  return !pending.Empty() && !journal_.Keeps(pending.Begin(), pending.End());
}

// Builds records of the events that no later run finds, while time permits: these can be counted
// one by one.
void FinalDelivery::BuildLost(int64_t end) {
  delivery_.Store().SetMaxMemory(INT32_MAX);
  while (PendingAreLost() && Platform::MonotonicMilliseconds() < end) {
    delivery_.BuildNext(true);
  }
}

void FinalDelivery::ReportLost() const {
  const RecordStore& store = delivery_.Store();
  if (!store.UsesCache()) {
    return;
  }
  if (const RecordStore::Unprotected lost = store.FindUnprotected(); lost.count > 0) {
    LogWarning("SM: %d records (%d bytes) could be neither sent nor stored and are lost",
               lost.count, static_cast<int>(lost.bytes));
  }
  if (PendingAreLost()) {
    LogWarning("SM: %lld events could be neither sent nor stored and are lost",
               static_cast<long long>(delivery_.Batch().Pending().Count()));
  }
}

}  // namespace Tav
