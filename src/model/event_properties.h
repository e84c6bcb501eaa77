// The properties of an event that the host is still building, within the event's size limit.
//
// They are kept in the binary form in which the journal stores them (docs/journal-format.md),
// because appending bytes costs a host's thread the least time.
//
// An addition that would exceed the limit is refused with a warning and marks the event discarded:
// later additions are ignored, and logging the event drops it, because an event with some of its
// properties missing would be wrong. Runs on the host's threads; allocates in the event's arena.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "util/value_codec.h"

struct TavEvent_s;

namespace Tav {

class Arena;

// A growing sequence of members.
class EventProperties {
 public:
  // Borrows the arena, which must live longer.
  explicit EventProperties(Arena* arena) : arena_(arena) {}
  ~EventProperties() { Clear(); }
  EventProperties(const EventProperties&) = delete;
  EventProperties& operator=(const EventProperties&) = delete;

  bool Empty() const { return size_ == 0; }
  // Without the end tag.
  std::span<const std::byte> Bytes() const { return {data_, size_}; }
  void Clear();

  // False, and no change, if memory runs out.
  bool AddString(std::string_view key, std::string_view value);
  bool AddReal(std::string_view key, double value);
  // An object of the texts that are not empty, as an item of the array `key`.
  struct Text {
    std::string_view key;
    std::string_view value;
  };
  bool AddItem(std::string_view key, std::span<const Text> texts);

 private:
  std::byte* Reserve(size_t size);

  Arena* arena_;
  std::byte* data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

// `name` is 1 to 255 bytes; `value` any text. A later property of the same name replaces the
// earlier one.
void AddEventString(TavEvent_s& event, std::string_view name, std::string_view value);

// A number that JSON cannot represent (NaN, infinity) is left out with a warning.
void AddEventNumber(TavEvent_s& event, std::string_view name, double value);

// Appends an item to "std-Trace" and counts it; empty texts are left out. Does nothing for an event
// without properties.
void AddEventTraceItem(TavEvent_s& event,
                       std::string_view location,
                       std::string_view library,
                       std::string_view meta);

}  // namespace Tav
