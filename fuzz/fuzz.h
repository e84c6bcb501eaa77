// What the fuzzers share: checks of invariants, inputs cut into pieces, and a log whose lines are
// checked. A fuzzer turns any bytes into calls of one part of the library, or of a tool, and
// requires more of it than not to crash.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace Tav::Fuzz {

// Ends the process with a message unless the condition holds.
void Require(bool condition, const char* what);

// The input of one run. Past its end there are only zeros and empty texts.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

  bool Empty() const { return rest_.empty(); }

  template <typename Number>
  Number Take() {
    static_assert(std::is_arithmetic_v<Number>);
    Number number{};
    const size_t size = std::min(sizeof number, rest_.size());
    std::memcpy(&number, rest_.data(), size);
    rest_.remove_prefix(size);
    return number;
  }
  uint8_t Byte() { return Take<uint8_t>(); }
  // 0 to bound - 1.
  uint32_t Below(uint32_t bound) { return Take<uint16_t>() % bound; }
  bool Flag() { return (Byte() & 1) != 0; }

  // A text with its length, of at most 255 bytes, in front.
  std::string_view Text() { return Bytes(Byte()); }
  // The same as a C string, cut at the first zero.
  std::string CText() {
    const std::string_view text = Text();
    return std::string(text.substr(0, text.find('\0')));
  }
  // The bytes that are left, at most `size`.
  std::string_view Bytes(size_t size) {
    const std::string_view bytes = rest_.substr(0, size);
    rest_.remove_prefix(bytes.size());
    return bytes;
  }
  std::string_view Rest() { return Bytes(rest_.size()); }

 private:
  std::string_view rest_;
};

inline std::span<const std::byte> BytesOf(std::string_view text) {
  return std::as_bytes(std::span(text));
}

// Whether the text is strict UTF-8 JSON of any type, for a parser that is not the library's path.
bool IsJson(std::string_view text);

// The sink of the log: checks every line, so that each fuzzer tests the log, too.
void CheckLine(const char* line);

// Lines that began with "warning: " or "error: " since the process started. Any thread.
size_t Complaints();

}  // namespace Tav::Fuzz
