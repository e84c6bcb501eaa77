#include "streams/json_check.h"

#include <string>
#include <string_view>
#include <vector>

#include "util/json.h"

namespace Tav {

namespace {

using Text = BufferedInputStream;

constexpr size_t kMaxLiteral = 1000;

bool Contains(std::string_view set, int32_t byte) {
  return byte > 0 && byte < 0x80 && set.find(static_cast<char>(byte)) != set.npos;
}

// The first byte that is no white space.
int32_t NextToken(Text& text) {
  int32_t byte = text.ReadByte();
  while (Contains(" \t\n\r", byte)) {
    byte = text.ReadByte();
  }
  return byte;
}

// Four hexadecimal digits; negative if they are not.
int32_t ReadHex(Text& text) {
  constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
  int32_t code = 0;
  for (int i = 0; i < 4; ++i) {
    const int32_t byte = text.ReadByte();
    if (!Contains(kDigits, byte)) {
      return -1;
    }
    const size_t digit = kDigits.find(static_cast<char>(byte));
    code = code * 16 + static_cast<int32_t>(digit < 16 ? digit : digit - 6);
  }
  return code;
}

// The parser accepts no zero and no half of a surrogate pair.
bool CheckEscape(Text& text) {
  const auto half = [](int32_t code) { return code & ~0x3FF; };
  const int32_t byte = text.ReadByte();
  if (byte != 'u') {
    return Contains("\"\\/bfnrt", byte);
  }
  const int32_t code = ReadHex(text);
  if (half(code) == 0xD800) {
    return text.ReadByte() == '\\' && text.ReadByte() == 'u' && half(ReadHex(text)) == 0xDC00;
  }
  return code > 0 && half(code) != 0xDC00;
}

bool CheckUtf8(Text& text, uint32_t lead) {
  constexpr uint32_t kSmallest[] = {0x80, 0x800, 0x10000};
  const int more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  uint32_t code = lead & (0x3FU >> more);
  for (int i = 0; i < more; ++i) {
    const int32_t byte = text.ReadByte();
    if (byte < 0 || (byte & 0xC0) != 0x80) {
      return false;
    }
    code = (code << 6) | (static_cast<uint32_t>(byte) & 0x3F);
  }
  return lead >= 0xC2 && lead <= 0xF4 && code >= kSmallest[more - 1] && code <= 0x10FFFF &&
         (code & ~0x7FFU) != 0xD800;
}

bool CheckString(Text& text) {
  for (int32_t byte = text.ReadByte(); byte != '"'; byte = text.ReadByte()) {
    const bool good = byte == '\\'   ? CheckEscape(text)
                      : byte >= 0x80 ? CheckUtf8(text, static_cast<uint32_t>(byte))
                                     : byte >= 0x20;
    if (!good) {
      return false;
    }
  }
  return true;
}

// A number, true, false or null. What the characters mean is left to the parser.
bool CheckLiteral(Text& text, int32_t first) {
  constexpr std::string_view kCharacters = "0123456789-+.eEtrufalsn";
  std::string literal;
  for (int32_t byte = first; Contains(kCharacters, byte); byte = text.PeekByte()) {
    literal += static_cast<char>(byte);
    if (literal.size() > 1) {
      text.ReadByte();
    }
    if (literal.size() == kMaxLiteral) {
      return false;
    }
  }
  const bool digit = literal.size() == 1 && Contains("0123456789", first);  // saves time
  return digit || JsonPtr(json_loadb(literal.data(), literal.size(), JSON_DECODE_ANY, nullptr));
}

// An element of an array or a member of an object. If its value is a container, ends after the
// bracket, which is added to `open`.
bool CheckElement(Text& text, int32_t begin, std::vector<int32_t>& open) {
  if (open.back() == '{') {
    if (begin != '"' || !CheckString(text) || NextToken(text) != ':') {
      return false;
    }
    begin = NextToken(text);
  }
  if (open.size() >= JSON_PARSER_MAX_DEPTH) {
    return false;
  }
  if (begin == '{' || begin == '[') {
    open.push_back(begin);
    return true;
  }
  return begin == '"' ? CheckString(text) : CheckLiteral(text, begin);
}

// From behind the opening bracket to the closing one. Not recursive: texts nest deep.
bool CheckContainer(Text& text, int32_t bracket) {
  std::vector<int32_t> open = {bracket};
  bool empty = true;
  while (!open.empty()) {
    int32_t token = NextToken(text);
    if (token == (open.back() == '{' ? '}' : ']')) {
      open.pop_back();
      empty = false;
      continue;
    }
    if (!empty) {
      if (token != ',') {
        return false;
      }
      token = NextToken(text);
    }
    const size_t depth = open.size();
    if (!CheckElement(text, token, open)) {
      return false;
    }
    empty = open.size() > depth;
  }
  return true;
}

}  // namespace

JsonShape CheckJson(BufferedInputStream& text) {
  const int32_t first = NextToken(text);
  const bool good = (first == '{' || first == '[') && CheckContainer(text, first);
  if (!good || NextToken(text) != -1) {
    return JsonShape::Malformed;
  }
  return first == '{' ? JsonShape::Object : JsonShape::Array;
}

}  // namespace Tav
