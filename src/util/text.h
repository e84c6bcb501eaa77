// Texts on their way in and out: what a host passes is made UTF-8, URLs are escaped, sizes are
// written for people. White space is the C locale's, whatever locale the host set.
#pragma once

#include <string>
#include <string_view>

namespace Tav {

// True when lead bytes are followed by the continuation bytes they announce and nothing else stands
// above 0x7F. Over-long forms and surrogates pass.
bool IsUtf8(std::string_view text);

// The part of `text` without white space at both ends.
std::string_view TrimView(std::string_view text);

// A host's text as UTF-8 without a copy where none is needed: borrows the host's bytes, which must
// outlive this object, when they are UTF-8, and owns a repaired copy when they are not. The repair
// takes the whole text as Latin-1 and is reported as a WARN.
class Utf8Text {
 public:
  // A null text is taken as empty.
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

// Takes every byte as a Latin-1 character.
std::string Latin1ToUtf8(std::string_view text);

// Escapes every byte but ASCII letters, digits, '-', '.', '_' and '~' as '%' and two lower-case
// hexadecimal digits.
std::string UrlEncode(std::string_view text);

// A number of bytes for people: "2047 Bytes", "2 KB" and so on to TB, rounded to the nearest whole
// number.
std::string FormatSize(double bytes);

}  // namespace Tav
