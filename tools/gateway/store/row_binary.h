// Reads ClickHouse's RowBinary, the format that keeps every byte of a text and every bit of a
// number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Gateway {

// The caller knows the columns and their types. Reading past the end gives zeros and empty texts.
class RowBinary {
 public:
  explicit RowBinary(std::string_view bytes) : rest_(bytes) {}

  bool IsAtEnd() const { return rest_.empty(); }

  // Int64
  std::int64_t Integer() { return Fixed<std::int64_t>(); }
  // Float64
  double Number() { return Fixed<double>(); }
  // String
  std::string_view Text() { return Bytes(Length()); }
  // The number of items of an Array.
  std::size_t Length() {
    std::uint64_t length = 0;
    for (unsigned shift = 0; shift < 64; shift += 7) {
      const auto byte = static_cast<unsigned char>(Fixed<char>());
      length |= static_cast<std::uint64_t>(byte & 0x7FU) << shift;
      if (byte < 0x80U) {
        break;
      }
    }
    return length;
  }

 private:
  std::string_view Bytes(std::size_t count) {
    const std::string_view bytes = rest_.substr(0, count);
    rest_.remove_prefix(bytes.size());
    return bytes;
  }

  template <typename Value>
  Value Fixed() {
    Value value{};
    const std::string_view bytes = Bytes(sizeof value);
    if (bytes.size() == sizeof value) {
      std::memcpy(&value, bytes.data(), sizeof value);
    }
    return value;
  }

  std::string_view rest_;
};

}  // namespace Gateway
