#include "session/implied_session.h"

#include <cstring>
#include <mutex>

#include "model/record_keys.h"
#include "util/logger.h"

namespace Tav {

void ImpliedSession::Join(TavEvent_s& event) {
  if (!open_.load(std::memory_order_acquire)) {
    Open();
  }
  event.sessionId.Assign(id_, event.Memory());
}

void ImpliedSession::Open() {
  const std::lock_guard guard(lock_);
  if (open_.load(std::memory_order_relaxed)) {
    return;
  }
  const SessionId id = NewSessionId();
  std::memcpy(id_, id.text, sizeof(id.text));
  if (reported_) {
    TAV_DEBUG("SM: Implied start record. Session ID: %s", id_);
    Mark(Key::kSessionBegin);
  }
  open_.store(true, std::memory_order_release);
}

void ImpliedSession::End() {
  if (open_.load(std::memory_order_acquire) && reported_) {
    TAV_DEBUG("SM: Implied stop record. Session ID: %s", id_);
    Mark(Key::kSessionEnd);
  }
  open_.store(false, std::memory_order_release);
}

void ImpliedSession::Mark(std::string_view name) {
  if (TavEvent_s* const marker = CreateEvent(HandleKind::Marker, name, id_)) {
    marker->magic = kHandleConsumed;
    queue_.AddItem(MakeEventItem(marker), Urgency::Soon);
  }
}

}  // namespace Tav
