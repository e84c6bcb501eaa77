// The objects behind the opaque event and value handles that the host holds.
//
// A handle is recognised by its magic word: live while the host owns it, handed over once the
// session manager owns it, zero when destroyed. The magic of a freed value stays readable: values
// are in a HandlePool. That of a freed event does until its pool block is used again or returned to
// the system; a host must not reuse events.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>

#include "model/event_properties.h"
#include "util/format.h"
#include "util/json.h"

namespace Tav {

class Arena;

inline constexpr uint32_t kHandleLive = 0xDEAD123D;
inline constexpr uint32_t kHandleConsumed = 0xDEAD123F;
inline constexpr uint32_t kSessionOpen = 0xDEAF123D;
inline constexpr uint32_t kSessionClosed = 0xDEAF123F;

enum class HandleKind : uint32_t {
  Marker = 0,  // a place, idle, session begin or session end
  Event = 1,
  Map = 2,  // also a single product value
  List = 3,
  Command = 4,
  Error = 5,
};

// Kinds that carry the session environment and pass when implied records are switched off.
inline constexpr bool IsReportedEvent(HandleKind kind) {
  return kind == HandleKind::Event || kind == HandleKind::Command || kind == HandleKind::Error;
}

inline constexpr bool IsValueKind(HandleKind kind) {
  return kind == HandleKind::Map || kind == HandleKind::List;
}

using SessionId = UuidText;

// Unique, not secret. Any thread; does not allocate.
inline SessionId NewSessionId() {
  return FormatUuid(Platform::NewUniqueUuid());
}

// A short immutable text inside a handle: UTF-8, zero-terminated, without zero bytes inside.
// Allocated in the handle's arena when it has one, so that it costs the host's thread no heap
// allocation. Not synchronised.
class HandleText {
 public:
  HandleText() = default;
  ~HandleText() { Clear(); }
  HandleText(const HandleText&) = delete;
  HandleText& operator=(const HandleText&) = delete;

  // Replaces the text by a copy of `text`. False, and empty, when memory runs out.
  bool Assign(std::string_view text, Arena* arena);

  std::string_view View() const { return {CString(), size_}; }
  const char* CString() const { return data_ == nullptr ? "" : data_; }
  bool Empty() const { return size_ == 0; }

 private:
  void Clear();

  char* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace Tav

// A map or list to be added to the product environment; the base of events.
struct TavValue_s {
  explicit TavValue_s(Tav::HandleKind handleKind) : kind(handleKind) {}
  virtual ~TavValue_s();
  TavValue_s(const TavValue_s&) = delete;
  TavValue_s& operator=(const TavValue_s&) = delete;

  // Made by Tav::CreateValue and Tav::CreateSingleValue only.
  static void* operator new(size_t) = delete;
  // NOLINTNEXTLINE(misc-new-delete-overloads): the deleted operator new does not count.
  static void operator delete(void* value);

  // Whether the host has added anything that nobody has taken.
  virtual bool HasData() const { return static_cast<bool>(payload); }

  // Atomic because a host may pass a spent value while the session thread destroys it.
  std::atomic<uint32_t> magic{Tav::kHandleLive};
  Tav::JsonPtr payload;  // members; null in an event
  Tav::HandleKind kind;
  Tav::HandleText name;
  Tav::HandleText componentName;
  Tav::HandleText componentVersion;
  uint64_t traceItemCount = 0;
};

// Placed in an arena of its own, which also holds its texts and properties. Made by
// Tav::CreateEvent only.
struct TavEvent_s final : TavValue_s {
  TavEvent_s(Tav::HandleKind handleKind, Tav::Arena* arena)
      : TavValue_s(handleKind), properties(arena), arena_(arena) {}
  ~TavEvent_s() override = default;

  // Destroys the event, then the arena that holds it.
  static void operator delete(TavEvent_s* event, std::destroying_delete_t);

  Tav::Arena* Memory() const { return arena_; }

  bool HasData() const override { return !properties.Empty(); }

  Tav::EventProperties properties;
  Tav::HandleText sessionId;   // empty for events outside a session
  uint32_t estimatedSize = 0;  // running estimate of the serialised size, in bytes
  bool discarded = false;      // an addition would have passed the maximum event size

 private:
  Tav::Arena* arena_;
};

namespace Tav {

// An event of `kind` in the session `sessionId` (may be empty), with its size estimate started.
// Null when memory runs out. The caller owns it. Any thread.
TavEvent_s* CreateEvent(HandleKind kind, std::string_view name, std::string_view sessionId);

// A map or list value with an empty name and an empty JSON object. Null when memory runs out.
TavValue_s* CreateValue(HandleKind kind);

// A handle of kind map whose payload is a single value itself. Null without a payload or when
// memory runs out.
TavValue_s* CreateSingleValue(JsonPtr payload);

// The values that exist, for tests: no leak checker looks into the pool.
size_t LiveValues();

// Frees a handle whose magic is live or consumed; leaves anything else alone. Null is allowed.
void FreeHandle(TavValue_s* handle);

}  // namespace Tav
