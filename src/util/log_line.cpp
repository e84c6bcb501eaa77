#include "util/log_line.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "util/log_text.h"

namespace Tav {

namespace {

constexpr size_t kEscapeSize = 4;

std::string ReplaceAll(std::string_view text, std::string_view part, std::string_view name) {
  std::string replaced;
  for (size_t found = text.find(part); found != std::string_view::npos; found = text.find(part)) {
    replaced.append(text.substr(0, found)).append(name);
    text.remove_prefix(found + part.size());
  }
  return replaced.append(text);
}

// The number of bytes of a sequence with this lead byte.
size_t SequenceSize(unsigned char lead) {
  if (lead < 0xE0) {
    return 2;
  }
  return lead < 0xF0 ? 3 : 4;
}

// The size of a UTF-8 sequence at the end of the text whose last bytes are missing; 0 if there is
// none.
size_t CutSequenceSize(std::string_view text) {
  constexpr size_t kMaxIncomplete = 3;
  for (size_t size = 1; size <= std::min(kMaxIncomplete, text.size()); ++size) {
    const auto byte = static_cast<unsigned char>(text[text.size() - size]);
    if (byte >= 0xC0) {
      return size < SequenceSize(byte) ? size : 0;
    }
    if (byte < 0x80) {
      return 0;
    }
  }
  return 0;
}

// The largest size up to `room` at which an escaped text can be cut.
size_t CutBetweenEscapes(std::string_view escaped, size_t room) {
  if (escaped.size() <= room) {
    return escaped.size();
  }
  const size_t escape = escaped.rfind("\\x", room - 1);
  return escape != std::string_view::npos && escape + kEscapeSize > room ? escape : room;
}

}  // namespace

void LogLine::Append(std::string_view piece) {
  const size_t length = std::min(piece.size(), kSize - 1 - length_);
  std::memcpy(text_ + length_, piece.data(), length);
  length_ += length;
  text_[length_] = '\0';
}

void LogLine::AppendArguments(const char* format, va_list arguments) {
  const size_t room = kSize - length_;
  const int length = std::vsnprintf(text_ + length_, room, format, arguments);
  if (length < 0) {
    // The run-time cannot convert a wide text. The format alone is better than nothing.
    Append(format);
  } else {
    length_ += std::min(static_cast<size_t>(length), room - 1);
  }
}

void LogLine::AppendFormat(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  AppendArguments(format, arguments);
  va_end(arguments);
}

void LogLine::Replace(size_t start, std::string_view part, std::string_view name) {
  if (From(start).find(part) != std::string_view::npos) {
    const std::string replaced = ReplaceAll(From(start), part, name);
    length_ = start;
    Append(replaced);
  }
}

void LogLine::Escape(size_t start) {
  if (HasControls(From(start))) {
    const std::string escaped = EscapeControls(From(start));
    length_ = start;
    const size_t room = kSize - 1 - start;
    Append(std::string_view(escaped).substr(0, CutBetweenEscapes(escaped, room)));
  }
}

void LogLine::DropCutCharacter() {
  if (length_ == kSize - 1) {
    length_ -= CutSequenceSize({text_, length_});
    text_[length_] = '\0';
  }
}

}  // namespace Tav
