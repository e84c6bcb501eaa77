// Session ids: random UUIDs as lower-case text.
#pragma once

#include <string_view>

namespace Tav {

// 8-4-4-4-12 lower-case hexadecimal digits, zero-terminated.
struct SessionId {
  char text[37];
  std::string_view View() const { return {text, 36}; }
};

// A fresh id from the operating system. Any thread; does not allocate.
SessionId NewSessionId();

}  // namespace Tav
