#include "model/handles.h"

#include <cstring>
#include <utility>

#include "model/event_size.h"
#include "util/arena.h"
#include "util/handle_pool.h"
#include "util/logger.h"

namespace {

constinit Tav::HandlePool<TavValue_s> values;

}  // namespace

// Arena::Allocate aligns to 8.
static_assert(alignof(TavEvent_s) <= 8);

TavValue_s::~TavValue_s() {
  // Volatile, because a store into an object at the end of its life is otherwise optimised away,
  // and a stale handle could no longer be told from a live one.
  static_cast<volatile std::atomic<uint32_t>&>(magic).store(0, std::memory_order_relaxed);
}

// NOLINTNEXTLINE(misc-new-delete-overloads): the deleted operator new does not count.
void TavValue_s::operator delete(void* value) {
  values.Release(value);
}

void TavEvent_s::operator delete(TavEvent_s* event, std::destroying_delete_t) {
  Tav::Arena* const arena = event->arena_;
  event->~TavEvent_s();
  Tav::Arena::Destroy(arena);
}

namespace Tav {

namespace {

TavValue_s* MakeValue(HandleKind kind, JsonPtr payload) {
  void* const memory = payload ? values.Acquire() : nullptr;
  if (memory == nullptr) {
    return nullptr;
  }
  auto* const value = ::new (memory) TavValue_s(kind);
  value->payload = std::move(payload);
  return value;
}

}  // namespace

bool HandleText::Assign(std::string_view text, Arena* arena) {
  Clear();
  if (text.empty()) {
    return true;
  }
  data_ = static_cast<char*>(TaggedAllocate(text.size() + 1, arena));
  if (data_ == nullptr) {
    return false;
  }
  std::memcpy(data_, text.data(), text.size());
  data_[text.size()] = '\0';
  size_ = text.size();
  return true;
}

void HandleText::Clear() {
  TaggedFree(data_);
  data_ = nullptr;
  size_ = 0;
}

TavEvent_s* CreateEvent(HandleKind kind, std::string_view name, std::string_view sessionId) {
  Arena* const arena = Arena::Create();
  if (arena == nullptr) {
    return nullptr;
  }
  void* const memory = arena->Allocate(sizeof(TavEvent_s));
  if (memory == nullptr) {
    Arena::Destroy(arena);
    return nullptr;
  }
  auto* const event = ::new (memory) TavEvent_s(kind, arena);
  if (!event->name.Assign(name, arena) || !event->sessionId.Assign(sessionId, arena)) {
    delete event;
    return nullptr;
  }
  event->estimatedSize = EventSize::Initial(name, IsReportedEvent(kind));
  return event;
}

TavValue_s* CreateValue(HandleKind kind) {
  return MakeValue(kind, JsonPtr(json_object()));
}

TavValue_s* CreateSingleValue(JsonPtr payload) {
  return MakeValue(HandleKind::Map, std::move(payload));
}

size_t LiveValues() {
  return values.LiveCount();
}

void FreeHandle(TavValue_s* handle) {
  if (handle == nullptr || (handle->magic != kHandleLive && handle->magic != kHandleConsumed)) {
    return;
  }
  if (handle->HasData()) {
    TAV_DEBUG("Tav data was not passed to AddObject method");
  }
  delete handle;
}

}  // namespace Tav
