// Reads and writes the primitive values of the journal's binary form in bounded memory. All numbers
// are little-endian. docs/journal-format.md describes the form.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

namespace Tav {

static_assert(std::endian::native == std::endian::little, "the journal stores native numbers");

// Writes into borrowed memory. Bytes that do not fit are counted but not stored, so that a caller
// can learn the size it needs, as with snprintf.
class ByteWriter {
 public:
  explicit ByteWriter(std::span<std::byte> memory) : memory_(memory) {}

  // The bytes written so far, those that did not fit included.
  size_t Size() const { return size_; }
  bool Fits() const { return size_ <= memory_.size(); }

  void Bytes(const void* bytes, size_t count) {
    if (count != 0 && size_ <= memory_.size() && count <= memory_.size() - size_) {
      std::memcpy(memory_.data() + size_, bytes, count);
    }
    size_ += count;
  }

  template <typename Number>
  void Fixed(Number number) {
    static_assert(std::is_arithmetic_v<Number> || std::is_enum_v<Number>);
    Bytes(&number, sizeof number);
  }

  // Seven bits a byte, the lowest first; the top bit marks that more follow.
  void Length(uint64_t length) {
    while (length >= 0x80) {
      Fixed(static_cast<uint8_t>(length | 0x80));
      length >>= 7;
    }
    Fixed(static_cast<uint8_t>(length));
  }

  void Text(std::string_view text) {
    Length(text.size());
    Bytes(text.data(), text.size());
  }

 private:
  const std::span<std::byte> memory_;
  size_t size_ = 0;
};

// Reads borrowed memory that may be damaged. The first read that passes the end fails; it and all
// later reads return zero or an empty text.
class ByteReader {
 public:
  explicit ByteReader(std::span<const std::byte> memory) : rest_(memory) {}

  bool Failed() const { return failed_; }
  void Fail() {
    failed_ = true;
    rest_ = {};
  }
  std::span<const std::byte> Rest() const { return rest_; }

  template <typename Number>
  Number Fixed() {
    static_assert(std::is_arithmetic_v<Number>);
    Number number{};
    if (const std::byte* const bytes = Take(sizeof number)) {
      std::memcpy(&number, bytes, sizeof number);
    }
    return number;
  }

  size_t Length() {
    constexpr int kMaxBits = 35;  // far above any length in a segment
    size_t length = 0;
    for (int shift = 0; shift < kMaxBits; shift += 7) {
      const auto group = Fixed<uint8_t>();
      length |= static_cast<size_t>(group & 0x7F) << shift;
      if ((group & 0x80) == 0) {
        return length;
      }
    }
    Fail();
    return 0;
  }

  // Borrows the memory.
  std::string_view Text() {
    const size_t length = Length();
    const std::byte* const bytes = Take(length);
    return bytes == nullptr ? std::string_view()
                            : std::string_view(reinterpret_cast<const char*>(bytes), length);
  }

 private:
  const std::byte* Take(size_t count) {
    if (count > rest_.size()) {
      Fail();
    }
    if (failed_) {
      return nullptr;
    }
    const std::byte* const bytes = rest_.data();
    rest_ = rest_.subspan(count);
    return bytes;
  }

  std::span<const std::byte> rest_;
  bool failed_ = false;
};

}  // namespace Tav
