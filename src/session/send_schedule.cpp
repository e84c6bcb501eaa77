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

// What "%d" takes.
int ForLog(int64_t bytes) {
  return static_cast<int>(std::min<int64_t>(bytes, std::numeric_limits<int>::max()));
}

}  // namespace

void SendSchedule::SetInitialWaitTime(int64_t now, int64_t cacheSize, int64_t oldestCached) {
  if (cacheSize < 1) {
    if (!tuning_.persistentInterval) {
      waitTime_ = 0;
      memoryFlushTime_ = 0;
      flushExpired_ = false;
      TAV_DEBUG(
          "SM: SetInitialWaitTime: No persistent interval. No cache. waitTime = %lld, pauseTime = "
          "%lld, memoryFlushTime = %lld",
          LongLong{waitTime_}, LongLong{pauseTime_}, LongLong{memoryFlushTime_});
    } else {
      waitTime_ = now + tuning_.sendInterval;
      TAV_DEBUG("SM: SetInitialWaitTime: Persistent interval is enabled. No cache. waitTime = %lld",
                LongLong{waitTime_});
    }
    return;
  }
  if (!tuning_.persistentInterval) {
    TAV_DEBUG("SM: SetInitialWaitTime: Existing cache without persistent interval. Send now.");
    StartSendingNow();
    return;
  }
  const int64_t end = oldestCached + tuning_.sendInterval;
  if (end > now) {
    waitTime_ = end;
    TAV_DEBUG(
        "SM: SetInitialWaitTime: waitTime = %lld (oldest cache timestamp = %lld, sendInterval = "
        "%d, now = %lld, remaining wait = %lld secs",
        LongLong{waitTime_}, LongLong{oldestCached}, tuning_.sendInterval, LongLong{now},
        LongLong{end - now});
    return;
  }
  TAV_DEBUG("SM: SetInitialWaitTime: persistent interval is over. Send now.");
  StartSendingNow();
}

void SendSchedule::StartSendingNow() {
  sendNow_ = true;
  waitTime_ = 0;
  memoryFlushTime_ = 0;
  pauseTime_ = 0;
  flushExpired_ = false;
}

int SendSchedule::ComputeTimeout(int64_t now) const {
  int64_t earliest = now + kMaxTimeout;
  for (const int64_t timer : {waitTime_, memoryFlushTime_, pauseTime_}) {
    if (timer != 0) {
      earliest = std::min(earliest, timer);
    }
  }
  const int timeout = static_cast<int>(std::max<int64_t>(earliest - now, 0));
  TAV_TRACE("SM: ComputeTimeout: Timeout set to %d", timeout);
  return timeout;
}

void SendSchedule::CheckTimers(int64_t now) {
  TAV_TRACE("SM: CheckTimers. waitTime: %lld, memoryFlushTime: %lld, pauseTime: %lld",
            LongLong{waitTime_}, LongLong{memoryFlushTime_}, LongLong{pauseTime_});
  if (waitTime_ != 0 && waitTime_ <= now) {
    TAV_TRACE("SM: CheckTimers: Wait time is over");
    waitTime_ = 0;
  }
  if (memoryFlushTime_ != 0 && memoryFlushTime_ <= now) {
    memoryFlushTime_ = 0;
    flushExpired_ = true;
    pauseTime_ = 0;
    TAV_TRACE("SM: Flush time is over");
  }
  if (pauseTime_ != 0 && pauseTime_ <= now) {
    TAV_TRACE("SM: CheckTimers: Pause time is over");
    pauseTime_ = 0;
  }
}

void SendSchedule::OnFirstPending(int64_t now) {
  if (memoryFlushTime_ == 0) {
    memoryFlushTime_ = now + tuning_.flushInterval;
  }
  if (pauseTime_ == 0) {
    pauseTime_ = now + tuning_.pauseInterval;
  }
}

void SendSchedule::OnAppChanged(int64_t now) {
  memoryFlushTime_ = now + tuning_.flushInterval;
  pauseTime_ = now + tuning_.pauseInterval;
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
         (sendNow_ || (waitTime_ == 0 && pauseTime_ == 0));
}

void SendSchedule::OnSent(int64_t now) {
  waitTime_ = now + (tuning_.sendInterval < 1 ? kDefaultInterval : tuning_.sendInterval);
  sendNow_ = false;
  memoryFlushTime_ = 0;
  flushFailed_ = false;
  failures_ = 0;
}

void SendSchedule::OnSendFailure(int64_t now, int retryAfter) {
  waitTime_ =
      now + std::max<int64_t>({tuning_.resendTime + int64_t{tuning_.resendDelta} * failures_,
                               kMinRetry, retryAfter});
  sendNow_ = false;  // it would override the wait at the next activity
  if (memoryFlushTime_ == 0) {
    memoryFlushTime_ = now + tuning_.flushInterval;
  }
  ++failures_;
  LogWarning("SM: Server send failure #%d. New waitTime = %lld. Memory flush time = %lld",
             failures_, LongLong{waitTime_}, LongLong{memoryFlushTime_});
}

void SendSchedule::OnSendDone() {
  pauseTime_ = 0;
  flushExpired_ = false;
}

void SendSchedule::OnLeftInMemory(int64_t now) {
  if (memoryFlushTime_ == 0 && !flushExpired_) {
    memoryFlushTime_ = now + tuning_.flushInterval;
  }
}

void SendSchedule::OnFlushed() {
  memoryFlushTime_ = 0;
  flushExpired_ = false;
  flushFailed_ = false;
}

void SendSchedule::OnFlushFailed(int64_t now) {
  memoryFlushTime_ = now + std::max(tuning_.flushInterval, kMinRetry);
  flushExpired_ = false;
  flushFailed_ = true;
}

}  // namespace Tav
