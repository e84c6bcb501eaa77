#include "model/handles.h"

#include <new>

#include "model/event_size.h"
#include "util/arena.h"
#include "util/logger.h"

namespace {

constexpr size_t kEventOffset = (sizeof(Tav::Arena) + 15) & ~size_t{15};

Tav::Arena* ArenaOf(void* event) {
  return std::launder(reinterpret_cast<Tav::Arena*>(static_cast<std::byte*>(event) - kEventOffset));
}

}  // namespace

TavValue_s::~TavValue_s() {
  // Volatile, because a store into an object at the end of its life is otherwise optimised away,
  // and a stale handle could no longer be told from a live one.
  *const_cast<volatile uint32_t*>(&magic) = 0;
}

void* TavEvent_s::operator new(size_t size) noexcept {
  Tav::Arena* const arena = Tav::Arena::Create();
  if (arena == nullptr) {
    return nullptr;
  }
  // The first allocation follows the arena directly, which is how the event finds it again.
  void* const padding = arena->Allocate(kEventOffset - sizeof(Tav::Arena));
  static_cast<void>(padding);
  return arena->Allocate(size);
}

void TavEvent_s::operator delete(void* memory) {
  Tav::Arena::Destroy(ArenaOf(memory));
}

Tav::Arena* TavEvent_s::Memory() {
  return ArenaOf(this);
}

namespace Tav {

TavEvent_s* CreateEvent(HandleKind kind, std::string_view name, std::string_view sessionId) {
  // Before the first property, which may be the process's first JSON value: hosts may fill events
  // before they initialise the library.
  UseArenasForJson();
  auto* const event = new TavEvent_s(kind);
  if (event == nullptr) {
    return nullptr;
  }
  Arena* const arena = event->Memory();
  if (!event->name.Assign(name, arena) || !event->sessionId.Assign(sessionId, arena)) {
    delete event;
    return nullptr;
  }
  event->estimatedSize = EventSize::Initial(name, IsReportedEvent(kind));
  return event;
}

TavValue_s* CreateValue(HandleKind kind) {
  UseArenasForJson();
  JsonPtr members(json_object());
  if (!members) {
    return nullptr;
  }
  auto* const value = new (std::nothrow) TavValue_s(kind);
  if (value != nullptr) {
    value->payload = std::move(members);
  }
  return value;
}

void FreeHandle(TavValue_s* handle) {
  if (handle == nullptr || (handle->magic != kHandleLive && handle->magic != kHandleHandedOver)) {
    return;
  }
  if (handle->payload) {
    TAV_DEBUG("Tav data was not passed to AddObject method");
  }
  delete handle;
}

}  // namespace Tav
