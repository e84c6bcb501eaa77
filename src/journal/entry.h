// One accepted event in its binary form, as stored in a segment of the journal.
//
// An entry is complete or absent: its first eight bytes, which include the size, are stored last,
// in a single store. The checksum and the segment's number in each entry distinguish it from
// remainders of an earlier use and from damaged data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "model/handles.h"
#include "util/time_stamp.h"

namespace Tav {

// What an entry holds. Texts and properties are borrowed.
struct EntryFields {
  TimeStamp time;
  uint32_t estimatedSize = 0;  // of the event in a record
  HandleKind kind = HandleKind::Event;
  std::string_view session;
  std::string_view name;
  std::string_view componentName;
  std::string_view componentVersion;
  std::span<const std::byte> properties;  // members in their binary form, without the end
};

// Whether a rule (an opt-out, the inhibit list, a limit) has dropped the event.
enum class Verdict : uint32_t { Open = 0, Dropped = 1 };

// An entry is a multiple of eight bytes and is aligned to eight.
inline constexpr size_t kEntryAlignment = 8;
inline constexpr size_t kEntryHeaderSize = 32;

// Returns the size of the entry. If the entry fits, it is in `memory`, complete except for the
// segment's number, and the caller passes it to a segment. `memory` is aligned to eight. Does not
// allocate. Any thread.
size_t EncodeEntry(const EntryFields& fields, std::span<std::byte> memory);

// The checksum of bytes 16 to the end of an encoded entry, without the segment's number.
uint32_t EntryChecksum(std::span<const std::byte> entry);

// A complete entry in borrowed memory.
class EntryView {
 public:
  // The entry at the start of `memory`; nothing if there is none, if it does not belong to the use
  // `number` of the segment, or if it is damaged.
  static std::optional<EntryView> Read(std::span<const std::byte> memory, uint32_t number);

  size_t Size() const { return size_; }
  Verdict GetVerdict() const { return verdict_; }
  // `session` is valid as long as this object, the rest as long as the memory. Without properties.
  EntryFields Fields() const;
  // The properties in the binary form of value_codec.h, with their end; empty when there are none.
  // Valid as long as the memory.
  std::span<const std::byte> Members() const { return properties_; }

 private:
  EntryView() = default;
  bool Parse(std::span<const std::byte> entry);

  size_t size_ = 0;
  Verdict verdict_ = Verdict::Open;
  EntryFields fields_;
  UuidText uuid_{};
  bool hasUuid_ = false;
  std::span<const std::byte> properties_;  // empty for none
};

}  // namespace Tav
