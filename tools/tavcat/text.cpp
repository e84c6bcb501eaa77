#include "tavcat/text.h"

#include <algorithm>
#include <cstdio>

#include "streams/json_stream.h"
#include "util/text.h"
#include "util/time_stamp.h"

namespace Tavcat {

namespace {

constexpr int64_t kSecondsPerDay = 86400;
// The end of the year 9999.
constexpr int64_t kMaxSecond = 253402300799;
constexpr double kMaxDay = 2932896;

std::string Formatted(const char* format, unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

// Length of the UTF-8 sequence at the start of `text`, or 0.
size_t SequenceLength(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const size_t length = lead < 0x80   ? 1
                        : lead < 0xC2 ? 0
                        : lead < 0xE0 ? 2
                        : lead < 0xF0 ? 3
                        : lead < 0xF5 ? 4
                                      : 0;
  return length <= text.size() && Tav::IsUtf8(text.substr(0, length)) ? length : 0;
}

unsigned CodePoint(std::string_view sequence) {
  constexpr unsigned kLeadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  unsigned code = static_cast<unsigned char>(sequence.front()) & kLeadBits[sequence.size()];
  for (const char next : sequence.substr(1)) {
    code = (code << 6) | (static_cast<unsigned char>(next) & 0x3FU);
  }
  return code;
}

bool MustBeEscaped(unsigned code) {
  const auto within = [code](unsigned first, unsigned last) {
    return code >= first && code <= last;
  };
  return code < 0x20 || within(0x7F, 0x9F) || within(0x200E, 0x200F) || within(0x2028, 0x202E) ||
         within(0x2066, 0x2069) || within(0xD800, 0xDFFF);
}

}  // namespace

std::string Counted(size_t count, std::string_view noun) {
  return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

std::string Hex(char byte) {
  return Formatted("0x%02X", static_cast<unsigned char>(byte));
}

std::string MomentText(int64_t seconds) {
  if (seconds < 0 || seconds > kMaxSecond) {
    return {};
  }
  const std::string text = Tav::FormatTimeStamp({seconds * 1000, 0});
  return text.substr(0, 10) + ' ' + text.substr(11, 8) + " UTC";
}

std::string DateText(double day) {
  const bool known = day >= 0 && day <= kMaxDay;
  return known ? MomentText(static_cast<int64_t>(day) * kSecondsPerDay).substr(0, 10) : "";
}

std::string Escape(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const size_t length = SequenceLength(text);
    const unsigned code = CodePoint(text.substr(0, std::max<size_t>(length, 1)));
    if (length == 0) {
      out += Formatted("\\x%02x", static_cast<unsigned char>(text.front()));
    } else if (MustBeEscaped(code)) {
      out += Formatted("\\u%04x", code);
    } else {
      out += text.substr(0, length);
    }
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return out;
}

Tav::JsonPtr ParseJson(std::string_view text, std::string& error) {
  const auto separators =
      std::ranges::count_if(text, [](char c) { return c == ',' || c == '[' || c == '{'; });
  if (text.size() > Tav::kMaxTextSize ||
      static_cast<size_t>(separators) > Tav::JsonInputStream::kMaxSeparators) {
    error = "too large: " + std::to_string(text.size()) + " bytes, " + std::to_string(separators) +
            " brackets and commas";
    return Tav::JsonPtr();
  }
  json_error_t reason;
  Tav::JsonPtr value(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &reason));
  if (!value) {
    error = std::string(reason.text) + ", byte " + std::to_string(reason.position);
  }
  return value;
}

std::string JsonText(const json_t* value) {
  std::string text;
  const auto append = [](const char* piece, size_t count, void* to) {
    static_cast<std::string*>(to)->append(piece, count);
    return 0;
  };
  json_dump_callback(value, append, &text, JSON_COMPACT | JSON_ENCODE_ANY);
  return text;
}

}  // namespace Tavcat
