// The binary form of an event, made on the host's thread.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

#include "journal/entry.h"
#include "model/handles.h"

namespace Tav {

// An event as an entry for the log, stamped now. On the stack, unless the event is large.
class EncodedEvent {
 public:
  explicit EncodedEvent(const TavEvent_s& event);
  // A place, or the beginning or end of a session.
  EncodedEvent(std::string_view marker, std::string_view sessionId);
  EncodedEvent(const EncodedEvent&) = delete;
  EncodedEvent& operator=(const EncodedEvent&) = delete;

  // Empty if memory ran out.
  std::span<const std::byte> Bytes() const { return bytes_; }

 private:
  void Encode(const EntryFields& fields);

  std::span<const std::byte> bytes_;
  std::unique_ptr<std::byte[]> large_;
  alignas(kEntryAlignment) std::byte small_[1000];
};

}  // namespace Tav
