// When records are sent, when they go to the cache, and how a failed send backs off: arithmetic on
// whole seconds since 1970, 0 meaning not armed. Reads no clock, touches no file, owns no record.
#pragma once

#include <cstdint>

namespace Tav {

// Used by the session thread only, but for the deadline.
class SendSchedule {
 public:
  // What the schedule is tuned with; seconds and bytes.
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

  // Once, when the thread begins to process. `oldestCached` is the oldest cache time stamp.
  void SetInitialWaitTime(int64_t now, int64_t cacheSize, int64_t oldestCached);

  // Seconds until the earliest armed timer, at most a day.
  int ComputeTimeout(int64_t now) const;
  // Disarms what has run out.
  void CheckTimers(int64_t now);

  // The first pending event after none: arms the flush and pause timers, each only when it is not.
  void OnFirstPending(int64_t now);
  // Product or client data changed: arms both timers anew.
  void OnAppChanged(int64_t now);
  // The application data waits alone at start-up.
  void ArmPause(int64_t now) { pauseTime_ = now + tuning_.pauseInterval; }

  // True when the threshold is reached, which then overrides every timer. Never while a failure
  // backs off, nor when nothing is ever sent: the timers are all that brings records to the cache
  // then.
  bool CheckSendThreshold(Backlog backlog);
  // Whether the regular schedule lets records go now.
  bool IsDue(bool suspended) const;

  void OnSent(int64_t now);
  void OnSendFailure(int64_t now);
  // After either of them.
  void OnSendDone();
  void OnFlushed();
  // Records stay in memory: they are flushed again when the flush interval has passed, not before.
  void OnFlushFailed(int64_t now);

  bool FlushExpired() const { return flushExpired_; }
  // Whether the last flush left records in memory.
  bool FlushFailed() const { return flushFailed_; }
  bool SendNow() const { return sendNow_; }
  int Failures() const { return failures_; }
  bool NeverSends() const { return tuning_.sendInterval < 0; }
  bool PersistentInterval() const { return tuning_.persistentInterval; }
  int64_t WaitTime() const { return waitTime_; }
  int64_t MemoryFlushTime() const { return memoryFlushTime_; }
  int64_t PauseTime() const { return pauseTime_; }

 private:
  void StartSendingNow();

  Tuning tuning_;
  int64_t waitTime_ = 0;         // earliest time of the next regular send
  int64_t memoryFlushTime_ = 0;  // when records in memory go to the cache
  int64_t pauseTime_ = 0;        // until when sending is held back after activity
  bool flushExpired_ = false;
  bool flushFailed_ = false;
  bool sendNow_ = false;
  int failures_ = 0;  // failed sends in a row
};

}  // namespace Tav
