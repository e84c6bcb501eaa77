#include "session/send_queue.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

SendSchedule::Backlog SendQueue::Backlog() const {
  // Negative if the cache takes no records: refused ones are then in memory.
  const int64_t cache = store_.LoadableCacheSize() - refused_.Bytes();
  return {std::max<int64_t>(store_.InMemory().Bytes() + std::min<int64_t>(cache, 0), 0),
          std::max<int64_t>(cache, 0)};
}

bool SendQueue::PrepareNext() {
  // With the one on its way. More would fill the memory when the server is slow.
  constexpr size_t kMaxReady = 3;
  store_.PrepareRoom();
  if (!SupplyLeft() || store_.InMemory().Count() >= kMaxReady) {
    return false;
  }
  const int64_t before = store_.InMemory().Bytes();
  supply_.Supply();
  return store_.InMemory().Bytes() > before;
}

const BuiltRecord* SendQueue::Next() {
  if (store_.NothingInMemory() && SupplyLeft()) {
    supply_.Supply();
  }
  const BuiltRecord* const next = NextNotRefused();
  if (next != nullptr || !SupplyLeft()) {
    return next;
  }
  supply_.Supply();  // refused records are in memory
  return NextNotRefused();
}

// The cache is a queue. A refused record goes back to its end. When one comes up for the second
// time, everything that was in the cache before has come up once, so only records in memory are
// left.
const BuiltRecord* SendQueue::NextNotRefused() {
  constexpr size_t kAll = SIZE_MAX;
  size_t left = kAll;
  const BuiltRecord* next = store_.Oldest();
  while (next != nullptr && refused_.Contains(*next)) {
    if (!refused_.MeetFirst(*next) && left == kAll) {
      left = store_.CountInMemory();
    }
    store_.MoveBehindOthers();
    left -= left == kAll ? 0 : 1;
    next = left == kAll ? store_.Oldest() : left == 0 ? nullptr : store_.FirstInMemory();
  }
  return next;
}

void SendQueue::SetRefused(int status) {
  const BuiltRecord& record = *store_.FirstInMemory();
  if (IsOutdated(record, CurrentTime())) {
    LogWarning("SM: Server refused a record of %d bytes with status %d. It is too old. Dropped it",
               record.Size(), status);
    store_.RemoveOutdated();
    return;
  }
  LogWarning("SM: Server refused a record of %d bytes with status %d. It is tried again later",
             record.Size(), status);
  refused_.Add(record);
  store_.MoveBehindOthers();
}

bool SendQueue::HasOnlyRefused() const {
  return HasRefused() && store_.InMemory().Empty() && Backlog().cache == 0;
}

}  // namespace Tav
