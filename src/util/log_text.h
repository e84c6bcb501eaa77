// Texts from outside in log lines: control characters are escaped, identifying texts are masked.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Tav {

// True if EscapeControls would change the text.
bool HasControls(std::string_view text);

// The text with the bytes of every control character (C0, DEL, and C1 in UTF-8) as "\x0a" and the
// like. Backslashes are not escaped, because most texts with one are paths.
std::string EscapeControls(std::string_view text);

// Stands for a text that identifies a user or a machine, and gives only its size: "[15 bytes]".
class Masked {
 public:
  explicit Masked(std::string_view text);
  const char* Text() const { return text_; }

 private:
  char text_[32];
};

}  // namespace Tav
