// UTF-8 texts and the repair of host strings. Nothing here depends on the locale that the host
// sets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace Tav {

// In words of 8 bytes, since most texts of hosts are short and ASCII.
inline bool IsAscii(std::string_view text) {
  constexpr uint64_t kHighBits = 0x8080808080808080;
  uint64_t all = 0;
  uint64_t word = 0;
  const char* at = text.data();
  size_t left = text.size();
  for (; left >= sizeof word; left -= sizeof word, at += sizeof word) {
    std::memcpy(&word, at, sizeof word);
    all |= word;
  }
  for (; left > 0; --left, ++at) {
    all |= static_cast<unsigned char>(*at);
  }
  return (all & kHighBits) == 0;
}

// True if lead bytes are followed by the continuation bytes they announce and no other byte is
// above 0x7F. Accepts over-long forms and surrogates.
bool IsUtf8(std::string_view text);

// True if `text` is well-formed UTF-8, as JSON needs it: unlike IsUtf8, accepts no over-long forms,
// surrogates and code points above U+10FFFF.
bool IsStrictUtf8(std::string_view text);

// `text` without the C locale's white space at both ends.
inline std::string_view TrimView(std::string_view text) {
  constexpr auto isWhiteSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
  while (!text.empty() && isWhiteSpace(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && isWhiteSpace(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

// At most `maxBytes` bytes of a UTF-8 text, cut between two characters.
std::string_view CutUtf8(std::string_view text, size_t maxBytes);

// A host's text as UTF-8, without a copy if possible: borrows the host's bytes, which must outlive
// this object, if they are UTF-8. Otherwise decodes the whole text as Latin-1 and logs a warning.
class Utf8Text {
 public:
  // Null is an empty text.
  Utf8Text(const char* text, bool trim);
  Utf8Text(const Utf8Text&) = delete;
  Utf8Text& operator=(const Utf8Text&) = delete;

  std::string_view View() const { return view_; }

 private:
  std::string repaired_;
  std::string_view view_;
};

// The same as an owned text.
std::string ToUtf8String(const char* text, bool trim);

// Decodes every byte as a Latin-1 character.
std::string Latin1ToUtf8(std::string_view text);

}  // namespace Tav
