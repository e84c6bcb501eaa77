#include "session/implied_session.h"

#include <cstring>
#include <mutex>

#include "model/record_keys.h"
#include "session/encoded_event.h"
#include "util/logger.h"

namespace Tav {

void ImpliedSession::Join(TavEvent_s& event) {
  if (!open_.load(std::memory_order_acquire)) {
    Open();
  }
  event.sessionId.Assign(id_, event.Memory());
}

// Whatever may log is done before the lock is taken or after it is released. If another thread
// opens the session meanwhile, the marker made here is dropped.
void ImpliedSession::Open() {
  const SessionId id = NewSessionId();
  const EncodedEvent marker(Key::kSessionBegin, id.text);
  {
    const std::lock_guard guard(lock_);
    if (open_.load(std::memory_order_relaxed)) {
      return;
    }
    std::memcpy(id_, id.text, sizeof(id.text));
    if (reported_) {
      queue_.AddEvent(marker.Bytes());
    }
    open_.store(true, std::memory_order_release);
  }
  if (reported_) {
    TAV_DEBUG("SM: Implied start record. Session ID: %s", id.text);
  }
}

void ImpliedSession::End() {
  if (open_.load(std::memory_order_acquire) && reported_) {
    TAV_DEBUG("SM: Implied stop record. Session ID: %s", id_);
    queue_.AddEvent(EncodedEvent(Key::kSessionEnd, id_).Bytes());
  }
  open_.store(false, std::memory_order_release);
}

}  // namespace Tav
