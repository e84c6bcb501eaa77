#include "session/implied_session.h"

#include <cstring>
#include <mutex>
#include <string_view>
#include <utility>

#include "model/record_keys.h"
#include "util/logger.h"

namespace Tav {

namespace {

// Null when memory runs out.
WorkItemPtr MakeMarker(std::string_view name, const char* sessionId) {
  TavEvent_s* const marker = CreateEvent(HandleKind::Marker, name, sessionId);
  if (marker == nullptr) {
    return nullptr;
  }
  marker->magic = kHandleConsumed;
  return MakeEventItem(marker);
}

}  // namespace

void ImpliedSession::Join(TavEvent_s& event) {
  if (!open_.load(std::memory_order_acquire)) {
    Open();
  }
  event.sessionId.Assign(id_, event.Memory());
}

// Whatever may log is done before the lock is taken or after it is released. If another thread
// opens the session meanwhile, the marker made here is freed.
void ImpliedSession::Open() {
  const SessionId id = NewSessionId();
  WorkItemPtr marker = reported_ ? MakeMarker(Key::kSessionBegin, id.text) : nullptr;
  {
    const std::lock_guard guard(lock_);
    if (open_.load(std::memory_order_relaxed)) {
      return;
    }
    std::memcpy(id_, id.text, sizeof(id.text));
    queue_.AddItem(std::move(marker), Urgency::Soon);
    open_.store(true, std::memory_order_release);
  }
  if (reported_) {
    TAV_DEBUG("SM: Implied start record. Session ID: %s", id.text);
  }
}

void ImpliedSession::End() {
  if (open_.load(std::memory_order_acquire) && reported_) {
    TAV_DEBUG("SM: Implied stop record. Session ID: %s", id_);
    queue_.AddItem(MakeMarker(Key::kSessionEnd, id_), Urgency::Soon);
  }
  open_.store(false, std::memory_order_release);
}

}  // namespace Tav
