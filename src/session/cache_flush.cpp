#include "session/cache_flush.h"

#include "platform/clock.h"
#include "util/logger.h"
#include "util/now.h"

namespace Tav {

namespace {

// Milliseconds. After this time a flush pauses so that the session thread can serve the host.
constexpr int64_t kMaxFlush = 1000;

}  // namespace

// During a send, the records of a cache file leave memory by themselves.
void CacheFlush::Arm() {
  const RecordStore& store = delivery_.Store();
  const bool any = !delivery_.Batch().Pending().Empty() || !store.InMemory().Empty() ||
                   !(delivery_.Sending() || store.NothingInMemory());
  if (store.UsesCache() && any) {
    delivery_.Schedule().OnLeftInMemory(ReadClocks());
  }
}

void CacheFlush::FlushIfDue() {
  RecordStore& store = delivery_.Store();
  if (CutShort()) {
    TAV_DEBUG("SM: Flushing more records to disk");
  } else if (delivery_.Schedule().FlushExpired()) {
    TAV_DEBUG("SM: Flushing records to disk (memory flush timer expires)");
  } else if (!store.Full()) {
    return;
  } else if (delivery_.Schedule().FlushFailed()) {
    store.BoundMemory();
    return;
  } else {
    TAV_DEBUG("SM: Flushing records to disk (memory full): total mem used = %d, max mem sz = %d",
              static_cast<int>(store.InMemory().Bytes()), store.MaxMemory());
  }
  Flush(Platform::MonotonicMilliseconds() + kMaxFlush);
}

// Alternates between building and storing records, so that they take little memory.
void CacheFlush::Flush(int64_t end) {
  const PendingEvents& pending = delivery_.Batch().Pending();
  bool stored = true;
  do {
    try {
      delivery_.ProcessEventList(true);
    } catch (...) {
      cutShort_ = FlushToCache();  // what has been built
      throw;
    }
    stored = FlushToCache();
  } while (stored && !pending.Empty() && Platform::MonotonicMilliseconds() < end);
  cutShort_ = stored && !pending.Empty();
}

bool CacheFlush::FlushToCache() {
  delivery_.Schedule().OnFlushed();
  const bool stored = delivery_.Store().Flush();
  if (!stored) {
    delivery_.Schedule().OnFlushFailed(ReadClocks());
    delivery_.Store().BoundMemory();
  }
  return stored;
}

}  // namespace Tav
