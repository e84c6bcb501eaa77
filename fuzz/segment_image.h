// Segments of a journal, made from any bytes: entries that were completed, other bytes under a
// correct checksum, and plain damage.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz.h"
#include "journal/entry.h"
#include "journal/segment.h"
#include "util/byte_codec.h"
#include "util/text.h"
#include "util/value_codec.h"

namespace Tav::Fuzz {

using Bytes = std::vector<std::byte>;

// What was written of an entry.
struct Written {
  size_t offset;
  std::string name;
  std::string session;
  int64_t time;
};

struct WrittenSegment {
  uint32_t number = 0;
  uint32_t settled = 0;
  std::vector<Written> entries;  // those before the first damage
};

inline EntryFields FieldsFrom(Input& input) {
  EntryFields fields;
  fields.time.unixMilliseconds = input.Take<int64_t>();
  fields.time.utcBiasMinutes = input.Take<int16_t>();
  fields.estimatedSize = input.Take<uint32_t>();
  constexpr HandleKind kKinds[] = {HandleKind::Marker, HandleKind::Event, HandleKind::Command,
                                   HandleKind::Error};
  fields.kind = kKinds[input.Below(4)];
  fields.session = input.Flag() ? "01234567-89ab-cdef-0123-456789abcdef" : input.Text();
  fields.name = input.Text();
  fields.componentName = input.Text();
  fields.componentVersion = input.Text();
  fields.properties = Fuzz::BytesOf(input.Text());
  return fields;
}

// Whether a host could have logged it.
inline bool IsWellFormed(const EntryFields& fields) {
  Bytes members(fields.properties.begin(), fields.properties.end());
  members.push_back(std::byte{0});
  ByteReader reader(members);
  SkipMembers(reader);
  return IsUtf8(fields.session) && IsUtf8(fields.name) && IsUtf8(fields.componentName) &&
         IsUtf8(fields.componentVersion) && !reader.Failed() && reader.Rest().empty();
}

// The image of one segment, cut after its last byte.
class SegmentImage {
 public:
  explicit SegmentImage(Input& input) : input_(input), bytes_(kSegmentHeadSize) {
    written_.number = input_.Below(4) == 0 ? input_.Take<uint32_t>() : ++lastNumber;
    written_.settled = input_.Flag() ? input_.Below(512) : kSegmentHeadSize;
    std::memcpy(bytes_.data(), &written_.settled, 4);
    std::memcpy(bytes_.data() + 4, &written_.number, 4);
    for (uint32_t count = input_.Below(6); count > 0; --count) {
      AddEntry();
    }
  }

  const Bytes& Image() const { return bytes_; }
  const WrittenSegment& Written() const { return written_; }
  static void Begin() { lastNumber = 0; }

 private:
  void AddEntry() {
    switch (input_.Below(4)) {
      case 0:
      case 1:
        AddWhole();
        break;
      case 2:
        AddSealed();
        break;
      case 3: {
        const std::span<const std::byte> bytes = Fuzz::BytesOf(input_.Text());
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        damaged_ = true;
        break;
      }
    }
  }

  void AddWhole() {
    const EntryFields fields = FieldsFrom(input_);
    Bytes entry(EncodeEntry(fields, {}));
    EncodeEntry(fields, entry);
    const size_t offset = bytes_.size();
    // As Segment::Append does it.
    std::memcpy(entry.data() + 8, &written_.number, 4);
    uint32_t checksum = 0;
    std::memcpy(&checksum, entry.data() + 4, 4);
    checksum ^= written_.number;
    std::memcpy(entry.data() + 4, &checksum, 4);
    bytes_.insert(bytes_.end(), entry.begin(), entry.end());
    damaged_ = damaged_ || !IsWellFormed(fields);
    if (!damaged_) {
      written_.entries.push_back({offset, std::string(fields.name), std::string(fields.session),
                                  fields.time.unixMilliseconds});
    }
  }

  // Any content under a correct checksum.
  void AddSealed() {
    const std::string_view content = input_.Text();
    Bytes entry((kEntryHeaderSize + content.size() + 7) / 8 * 8);
    std::memcpy(entry.data() + 12, content.data(), std::min(content.size(), entry.size() - 12));
    const auto size = static_cast<uint32_t>(entry.size());
    const uint32_t checksum = EntryChecksum(entry) ^ written_.number;
    std::memcpy(entry.data(), &size, 4);
    std::memcpy(entry.data() + 4, &checksum, 4);
    std::memcpy(entry.data() + 8, &written_.number, 4);
    bytes_.insert(bytes_.end(), entry.begin(), entry.end());
    damaged_ = true;
  }

  static inline uint32_t lastNumber = 0;
  Input& input_;
  Bytes bytes_;
  WrittenSegment written_;
  bool damaged_ = false;
};

}  // namespace Tav::Fuzz
