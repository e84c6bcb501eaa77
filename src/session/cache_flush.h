// Writes what is in memory to the cache, so that the death of the process or a full memory costs no
// events.
#pragma once

#include <cstdint>

#include "session/delivery.h"

namespace Tav {

// Session thread only. Blocks as the disk does.
class CacheFlush {
 public:
  // Borrows the delivery.
  explicit CacheFlush(Delivery& delivery) : delivery_(delivery) {}

  // Writes the records to the cache when the flush interval has passed or memory is full. For about
  // a second; the next call goes on.
  void FlushIfDue();
  // Builds records of all that is pending and writes them to the cache, until nothing is left, the
  // cache fails, or the monotonic clock reaches `end`, in milliseconds.
  void Flush(int64_t end);
  // Whether the last flush has left more.
  bool CutShort() const { return cutShort_ && !delivery_.Dropped(); }
  // Does not go on with a flush that was cut short.
  void End() { cutShort_ = false; }
  // At the end of a turn: ensures that everything in memory has a time at which it goes to the
  // cache.
  void Arm();

 private:
  bool FlushToCache();

  Delivery& delivery_;
  bool cutShort_ = false;
};

}  // namespace Tav
