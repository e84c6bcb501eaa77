#include "session/send_schedule.h"

#include <algorithm>
#include <limits>

#include "util/logger.h"

namespace Tav {

namespace {

constexpr int64_t kMaxTimeout = 86400;
// The wait after a successful send when the send interval is below 1.
constexpr int64_t kDefaultInterval = 300;

// Without a minimum, settings of zero would turn a failure into a busy loop.
constexpr int kMinRetry = 1;

using LongLong = long long;  // what "%lld" takes

// Log lines have wall-clock time.
LongLong ForLog(const Now& now, PollTimer timer) {
  return now.ToUnix(timer.Time());
}

// What "%d" takes.
int ForLog(int64_t bytes) {
  return static_cast<int>(std::min<int64_t>(bytes, std::numeric_limits<int>::max()));
}

}  // namespace

void SendSchedule::SetInitialWaitTime(const Now& now, int64_t cacheSize, int64_t oldestCached) {
  if (cacheSize < 1) {
    if (!tuning_.persistentInterval) {
      waitTime_.Disarm();
      memoryFlushTime_.Disarm();
      flushExpired_ = false;
      TAV_DEBUG(
          "SM: SetInitialWaitTime: No persistent interval. No cache. waitTime = %lld, pauseTime = "
          "%lld, memoryFlushTime = %lld",
          ForLog(now, waitTime_), ForLog(now, pauseTime_), ForLog(now, memoryFlushTime_));
    } else {
      waitTime_.Arm(now, tuning_.sendInterval);
      TAV_DEBUG("SM: SetInitialWaitTime: Persistent interval is enabled. No cache. waitTime = %lld",
                ForLog(now, waitTime_));
    }
    return;
  }
  if (!tuning_.persistentInterval) {
    TAV_DEBUG("SM: SetInitialWaitTime: Existing cache without persistent interval. Send now.");
    StartSendingNow();
    return;
  }
  const int64_t remaining = RemainingWait(now.unixSeconds, oldestCached);
  if (remaining > 0) {
    waitTime_.Arm(now, remaining);
    TAV_DEBUG(
        "SM: SetInitialWaitTime: waitTime = %lld (oldest cache timestamp = %lld, sendInterval = "
        "%d, now = %lld, remaining wait = %lld secs",
        ForLog(now, waitTime_), LongLong{oldestCached}, tuning_.sendInterval,
        LongLong{now.unixSeconds}, LongLong{remaining});
    return;
  }
  TAV_DEBUG("SM: SetInitialWaitTime: persistent interval is over. Send now.");
  StartSendingNow();
}

// A file from the future counts as written now. If the interval would pass before the wall clock
// has caught up, it counts as old instead: short runs would otherwise wait anew each time, for
// years.
int64_t SendSchedule::RemainingWait(int64_t unixSeconds, int64_t oldestCached) const {
  const int64_t interval = tuning_.sendInterval;
  const int64_t age = unixSeconds - oldestCached;
  return age < -interval ? 0 : interval - std::max<int64_t>(age, 0);
}

void SendSchedule::StartSendingNow() {
  sendNow_ = true;
  waitTime_.Disarm();
  memoryFlushTime_.Disarm();
  pauseTime_.Disarm();
  flushExpired_ = false;
}

bool SendSchedule::Armed() const {
  return waitTime_.Armed() || memoryFlushTime_.Armed() || pauseTime_.Armed();
}

int SendSchedule::ComputeTimeout(const Now& now) const {
  int64_t left = kMaxTimeout;
  for (const PollTimer timer : {waitTime_, memoryFlushTime_, pauseTime_}) {
    if (timer.Armed()) {
      left = std::min(left, timer.Time() - now.monotonic);
    }
  }
  const int timeout = static_cast<int>(std::max<int64_t>(left, 0));
  TAV_TRACE("SM: ComputeTimeout: Timeout set to %d", timeout);
  return timeout;
}

void SendSchedule::CheckTimers(const Now& now) {
  TAV_TRACE("SM: CheckTimers. waitTime: %lld, memoryFlushTime: %lld, pauseTime: %lld",
            ForLog(now, waitTime_), ForLog(now, memoryFlushTime_), ForLog(now, pauseTime_));
  if (waitTime_.HasExpired(now)) {
    TAV_TRACE("SM: CheckTimers: Wait time is over");
    waitTime_.Disarm();
  }
  if (memoryFlushTime_.HasExpired(now)) {
    memoryFlushTime_.Disarm();
    flushExpired_ = true;
    pauseTime_.Disarm();
    TAV_TRACE("SM: Flush time is over");
  }
  if (pauseTime_.HasExpired(now)) {
    TAV_TRACE("SM: CheckTimers: Pause time is over");
    pauseTime_.Disarm();
  }
}

void SendSchedule::OnFirstPending(const Now& now) {
  memoryFlushTime_.ArmOnce(now, tuning_.flushInterval);
  pauseTime_.ArmOnce(now, tuning_.pauseInterval);
}

void SendSchedule::ArmPause(const Now& now) {
  pauseTime_.Arm(now, tuning_.pauseInterval);
}

void SendSchedule::OnAppChanged(const Now& now) {
  memoryFlushTime_.Arm(now, tuning_.flushInterval);
  pauseTime_.Arm(now, tuning_.pauseInterval);
}

bool SendSchedule::CheckSendThreshold(Backlog backlog) {
  if (failures_ != 0 || NeverSends()) {
    return false;
  }
  const int64_t total = backlog.memory + backlog.cache;
  TAV_TRACE("SM: CheckSendThreshold. TotalSize = %d (memory = %d, cache = %d), sendThreshold = %d",
            ForLog(total), ForLog(backlog.memory), ForLog(backlog.cache), tuning_.sendThreshold);
  if (total < tuning_.sendThreshold) {
    return false;
  }
  TAV_DEBUG(
      "SM: Reached send threshold. TotalSize = %d (memory = %d, cache = %d), sendThreshold = %d",
      ForLog(total), ForLog(backlog.memory), ForLog(backlog.cache), tuning_.sendThreshold);
  StartSendingNow();
  return true;
}

bool SendSchedule::IsDue(bool suspended) const {
  return !suspended && tuning_.sendInterval >= 0 &&
         (sendNow_ || (!waitTime_.Armed() && !pauseTime_.Armed()));
}

void SendSchedule::OnSent(const Now& now) {
  waitTime_.Arm(now, tuning_.sendInterval < 1 ? kDefaultInterval : tuning_.sendInterval);
  sendNow_ = false;
  memoryFlushTime_.Disarm();
  flushFailed_ = false;
  failures_ = 0;
}

void SendSchedule::OnSendFailure(const Now& now, int retryAfter) {
  waitTime_.Arm(now,
                std::max<int64_t>({tuning_.resendTime + int64_t{tuning_.resendDelta} * failures_,
                                   kMinRetry, retryAfter}));
  sendNow_ = false;  // it would override the wait at the next activity
  memoryFlushTime_.ArmOnce(now, tuning_.flushInterval);
  ++failures_;
  LogWarning("SM: Server send failure #%d. New waitTime = %lld. Memory flush time = %lld",
             failures_, ForLog(now, waitTime_), ForLog(now, memoryFlushTime_));
}

void SendSchedule::OnSendDone() {
  pauseTime_.Disarm();
  flushExpired_ = false;
}

void SendSchedule::OnLeftInMemory(const Now& now) {
  if (!flushExpired_) {
    memoryFlushTime_.ArmOnce(now, tuning_.flushInterval);
  }
}

void SendSchedule::OnFlushed() {
  memoryFlushTime_.Disarm();
  flushExpired_ = false;
  flushFailed_ = false;
}

void SendSchedule::OnFlushFailed(const Now& now) {
  memoryFlushTime_.Arm(now, std::max(tuning_.flushInterval, kMinRetry));
  flushExpired_ = false;
  flushFailed_ = true;
}

}  // namespace Tav
