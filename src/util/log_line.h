// One line of the log while it is put together. Each piece is cut to the room that is left.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string_view>

#include "util/logger.h"

namespace Tav {

class LogLine {
 public:
  void Append(std::string_view piece);
  void AppendArguments(const char* format, va_list arguments);
  void AppendFormat(const char* format, ...) TAV_PRINTF(2, 3);

  // From `start` on, puts `name` in place of every `part`, which is not empty.
  void Replace(size_t start, std::string_view part, std::string_view name);
  // From `start` on, escapes the control characters. An escape is not cut.
  void Escape(size_t start);
  // In a line that was cut: removes the first bytes of a character whose last ones are missing.
  void DropCutCharacter();

  size_t Length() const { return length_; }
  const char* Text() const { return text_; }

 private:
  static constexpr size_t kSize = 2048;

  std::string_view From(size_t start) const { return {text_ + start, length_ - start}; }

  size_t length_ = 0;
  char text_[kSize];
};

}  // namespace Tav
