// The records behind the host's opaque handles for events and values.
//
// A handle is known by its magic word, not by a registry: live while the host owns it, handed over
// once the session manager does, zero when destroyed. Reading the magic of a handle that is long
// gone is the accepted price; a host must not reuse handles.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "model/handle_text.h"
#include "util/json.h"

namespace Tav {

class Arena;

inline constexpr uint32_t kHandleLive = 0xDEAD123D;
inline constexpr uint32_t kHandleHandedOver = 0xDEAD123F;
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

}  // namespace Tav

// A map or list on its way into the product environment; the base of events.
struct TavValue_s {
  explicit TavValue_s(Tav::HandleKind handleKind) : kind(handleKind) {}
  virtual ~TavValue_s();
  TavValue_s(const TavValue_s&) = delete;
  TavValue_s& operator=(const TavValue_s&) = delete;

  uint32_t magic = Tav::kHandleLive;
  Tav::JsonPtr payload;  // members or properties; null until an event's first property
  Tav::HandleKind kind;
  Tav::HandleText name;
  Tav::HandleText componentName;
  Tav::HandleText componentVersion;
  uint64_t traceItemCount = 0;
};

struct TavEvent_s final : TavValue_s {
  using TavValue_s::TavValue_s;
  ~TavEvent_s() override = default;

  // Every event stands at the start of an arena of its own, which its texts, its properties and
  // its place in the work queue share.
  static void* operator new(size_t size) noexcept;
  static void operator delete(void* memory);
  Tav::Arena* Memory();

  Tav::HandleText sessionId;   // empty for events outside a session
  uint32_t estimatedSize = 0;  // running estimate of the serialised size, in bytes
  bool discarded = false;      // an addition would have passed the maximum event size
};

namespace Tav {

// An event of `kind` in the session `sessionId` (may be empty), with its size estimate started.
// Null when memory runs out. The caller owns it. Any thread.
TavEvent_s* CreateEvent(HandleKind kind, std::string_view name, std::string_view sessionId);

// A map or list value with an empty name and an empty JSON object. Null when memory runs out.
TavValue_s* CreateValue(HandleKind kind);

// Frees a handle whose magic says that it is one, live or handed over; leaves anything else alone.
void FreeHandle(TavValue_s* handle);

}  // namespace Tav
