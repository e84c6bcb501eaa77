// The one way from the hosts' threads to the session thread.
#pragma once

#include "session/work_item.h"
#include "util/thread.h"

namespace Tav {

// How soon the session thread must look at an item.
enum class Urgency {
  Soon,  // within a second or so: events
  Now,   // a host waits for it, or the library is about to end
};

// A list under the thread's lock, which is held for a few instructions.
//
// Waking a thread is a system call of many microseconds on the host's side, so it is left out
// whenever the session thread will look anyway: while it is busy, because it looks before it waits;
// and while it lingers. After a batch of events the session thread lingers for up to a second:
// further events gather in the queue meanwhile without waking it, unless many come. Only then does
// it sleep for as long as its timers allow, and the next item wakes it.
class WorkQueue {
 public:
  // Borrows the thread for its lock and its work signal.
  explicit WorkQueue(Thread& thread) : thread_(thread) {}

  // Any thread. Nothing happens with a null item.
  void AddItem(WorkItemPtr item, Urgency urgency);

  // On the session thread: takes everything there is. When there is nothing, first waits for at
  // most so many seconds; 0 never waits. The result may be empty.
  WorkList TakeItems(int timeoutSeconds);

  // How long the session thread may linger; 0 makes every item wake it.
  void SetLinger(int milliseconds) { lingerMilliseconds_ = milliseconds; }

 private:
  enum class Consumer { Busy, Lingering, Sleeping };

  bool MustWake(Urgency urgency) const;
  // Both are called, and return, with the lock held.
  void WaitAs(Consumer state, int milliseconds);
  void WaitForItems(int timeoutSeconds);

  Thread& thread_;
  WorkList items_;                      // guarded by the lock
  Consumer consumer_ = Consumer::Busy;  // guarded by the lock
  bool wakePending_ = false;            // guarded by the lock
  bool tookItems_ = false;              // the session thread's own
  int lingerMilliseconds_ = 0;          // the session thread's own
};

}  // namespace Tav
