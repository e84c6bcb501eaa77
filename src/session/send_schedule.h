// Decides when records are sent, when they go to the cache, and how long to wait after a failed
// send. The wall clock is used only to date the oldest cache file and in log lines. Reads no clock,
// uses no file.
#pragma once

#include <cstdint>

#include "session/poll_timer.h"
#include "util/now.h"

namespace Tav {

// Session thread only.
class SendSchedule {
 public:
  // In seconds and bytes.
  struct Tuning {
    bool persistentInterval = false;  // the send interval runs across program runs
    int sendInterval = 300;           // negative: never send
    int sendThreshold = 0;
    int flushInterval = 0;
    int pauseInterval = 0;
    int resendTime = 0;
    int resendDelta = 0;
  };

  // The bytes that wait to be sent.
  struct Backlog {
    int64_t memory = 0;
    int64_t cache = 0;
  };

  void Tune(const Tuning& tuning) { tuning_ = tuning; }

  // Once, when the thread begins to process. `oldestCached` is the oldest cache time stamp, in
  // seconds since 1970. With a persistent interval, the wait is what is left of the interval since
  // then, and never longer than the interval, whatever the wall clock shows.
  void SetInitialWaitTime(const Now& now, int64_t cacheSize, int64_t oldestCached);

  // Seconds until the earliest armed timer, at most a day.
  int ComputeTimeout(const Now& now) const;
  // Whether a timer is armed.
  bool Armed() const;
  // Disarms the timers that have expired.
  void CheckTimers(const Now& now);

  // The first pending event: arms the flush and pause timers unless they are armed.
  void OnFirstPending(const Now& now);
  // Product or client data changed: restarts both timers.
  void OnAppChanged(const Now& now);
  // At start-up, when changed data is all there is to send.
  void ArmPause(const Now& now);

  // True when the threshold is reached, which overrides and disarms all timers. False after a
  // failed send and when the schedule never sends: only the timers then move records to the cache.
  bool CheckSendThreshold(Backlog backlog);
  // Whether records are to be sent now.
  bool IsDue(bool suspended) const;

  void OnSent(const Now& now);
  // `retryAfter`: the seconds that the server asks for, which can only lengthen the back-off; 0 for
  // none.
  void OnSendFailure(const Now& now, int retryAfter = 0);
  // After OnSent or OnSendFailure.
  void OnSendDone();
  // Records or events are in memory: arms the flush timer unless it is armed or a flush is due.
  void OnLeftInMemory(const Now& now);
  void OnFlushed();
  // Records stay in memory; the next flush follows after the flush interval, not before.
  void OnFlushFailed(const Now& now);

  bool FlushExpired() const { return flushExpired_; }
  // Whether the last flush left records in memory.
  bool FlushFailed() const { return flushFailed_; }
  bool SendNow() const { return sendNow_; }
  int Failures() const { return failures_; }
  bool NeverSends() const { return tuning_.sendInterval < 0; }
  bool PersistentInterval() const { return tuning_.persistentInterval; }
  MonotonicTime WaitTime() const { return waitTime_.Time(); }
  MonotonicTime MemoryFlushTime() const { return memoryFlushTime_.Time(); }
  MonotonicTime PauseTime() const { return pauseTime_.Time(); }

 private:
  void StartSendingNow();
  int64_t RemainingWait(int64_t unixSeconds, int64_t oldestCached) const;

  Tuning tuning_;
  PollTimer waitTime_;         // earliest time of the next regular send
  PollTimer memoryFlushTime_;  // when records in memory go to the cache
  PollTimer pauseTime_;        // until when sending is held back after activity
  bool flushExpired_ = false;
  bool flushFailed_ = false;
  bool sendNow_ = false;
  int failures_ = 0;  // failed sends in a row
};

}  // namespace Tav
