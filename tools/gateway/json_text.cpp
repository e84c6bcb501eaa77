#include "gateway/json_text.h"

#include <utility>

namespace Gateway {
namespace {

bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Length of the well-formed UTF-8 sequence at the start of `bytes`, or 0. Overlong forms,
// surrogates and code points above U+10FFFF are not well-formed.
std::size_t SequenceLength(std::string_view bytes) {
  const auto byteAt = [&](std::size_t index) -> unsigned {
    return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0U;
  };
  const auto continues = [&](std::size_t index, unsigned low = 0x80, unsigned high = 0xBF) {
    return byteAt(index) >= low && byteAt(index) <= high;
  };
  const unsigned lead = byteAt(0);
  if (lead < 0x80) {
    return 1;
  }
  if (lead >= 0xC2 && lead <= 0xDF) {
    return continues(1) ? 2 : 0;
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    const unsigned low = lead == 0xE0 ? 0xA0 : 0x80;
    const unsigned high = lead == 0xED ? 0x9F : 0xBF;
    return continues(1, low, high) && continues(2) ? 3 : 0;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    const unsigned low = lead == 0xF0 ? 0x90 : 0x80;
    const unsigned high = lead == 0xF4 ? 0x8F : 0xBF;
    return continues(1, low, high) && continues(2) && continues(3) ? 4 : 0;
  }
  return 0;
}

std::string ToUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const std::size_t length = SequenceLength(bytes);
    text += length > 0 ? bytes.substr(0, length) : std::string_view("\xEF\xBF\xBD");
    bytes.remove_prefix(length > 0 ? length : 1);
  }
  return text;
}

// Iterates over valid JSON text.
class Cursor {
 public:
  explicit Cursor(std::string_view text) : text_(text) {}

  std::size_t Position() const { return position_; }
  bool AtEnd() const { return position_ >= text_.size(); }
  char Here() const { return AtEnd() ? '\0' : text_[position_]; }

  void SkipSpace() {
    while (!AtEnd() && IsSpace(text_[position_])) {
      ++position_;
    }
  }

  // Skips `expected` and the white space around it; false if the next character is another one.
  bool Accept(char expected) {
    SkipSpace();
    if (Here() != expected) {
      return false;
    }
    ++position_;
    SkipSpace();
    return true;
  }

  // Skips a string and returns it with its quotes.
  std::string_view TakeString() {
    const std::size_t start = position_++;
    while (!AtEnd() && text_[position_] != '"') {
      position_ += text_[position_] == '\\' ? 2 : 1;
    }
    ++position_;
    return text_.substr(start, position_ - start);
  }

  TextSpan TakeValue() {
    const std::size_t start = position_;
    if (Here() == '"') {
      TakeString();
    } else if (Here() == '{' || Here() == '[') {
      SkipNested();
    } else {
      while (!AtEnd() && !IsSpace(Here()) && Here() != ',' && Here() != ']' && Here() != '}') {
        ++position_;
      }
    }
    return {start, position_ - start};
  }

  // Skips a whole string, or one byte of anything else.
  void Step() {
    if (Here() == '"') {
      TakeString();
    } else {
      ++position_;
    }
  }

 private:
  void SkipNested() {
    std::size_t depth = 0;
    do {
      const char c = Here();
      depth += c == '{' || c == '[' ? 1 : 0;
      depth -= c == '}' || c == ']' ? 1 : 0;
      Step();
    } while (depth > 0 && !AtEnd());
  }

  std::string_view text_;
  std::size_t position_ = 0;
};

std::vector<TextSpan> TakeItems(Cursor& cursor) {
  std::vector<TextSpan> items;
  if (cursor.Accept(']')) {
    return items;
  }
  do {
    items.push_back(cursor.TakeValue());
  } while (cursor.Accept(','));
  return items;
}

}  // namespace

JsonPtr ParseJson(std::string_view text, std::string& error) {
  json_error_t failure{};
  JsonPtr value(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &failure));
  if (!value) {
    error = std::string(failure.text) + " (line " + std::to_string(failure.line) + ", byte " +
            std::to_string(failure.position) + ")";
  }
  return value;
}

std::string DumpJson(const json_t* value) {
  char* text = json_dumps(value, JSON_COMPACT | JSON_ENCODE_ANY);
  std::string copy = text != nullptr ? text : "null";
  // A program that links this code may have set another allocator for jansson.
  json_free_t release = nullptr;
  json_get_alloc_funcs(nullptr, &release);
  release(text);
  return copy;
}

JsonPtr JsonText(std::string_view bytes) {
  if (json_t* text = json_stringn(bytes.data(), bytes.size())) {
    return JsonPtr(text);
  }
  const std::string repaired = ToUtf8(bytes);
  return JsonPtr(json_stringn(repaired.data(), repaired.size()));
}

std::string QuoteJson(std::string_view bytes) {
  return DumpJson(JsonText(bytes).get());
}

std::string_view TextOf(const json_t* value) {
  return json_is_string(value)
             ? std::string_view(json_string_value(value), json_string_length(value))
             : std::string_view();
}

bool IsNestedDeeper(const json_t* value, int levels) {
  if (levels == 0) {
    return json_is_array(value) || json_is_object(value);
  }
  bool isDeeper = false;
  for (std::size_t i = 0; i < json_array_size(value) && !isDeeper; ++i) {
    isDeeper = IsNestedDeeper(json_array_get(value, i), levels - 1);
  }
  if (json_is_object(value)) {
    ForEachMember(value, [&](std::string_view, const json_t* member) {
      isDeeper = isDeeper || IsNestedDeeper(member, levels - 1);
    });
  }
  return isDeeper;
}

std::size_t FindLooseSpace(std::string_view validText) {
  Cursor cursor(validText);
  while (!cursor.AtEnd() && !IsSpace(cursor.Here())) {
    cursor.Step();
  }
  return cursor.AtEnd() ? std::string_view::npos : cursor.Position();
}

std::vector<MemberSpan> FindMembers(std::string_view validText) {
  std::vector<MemberSpan> members;
  Cursor cursor(validText);
  if (!cursor.Accept('{') || cursor.Here() != '"') {
    return members;
  }
  do {
    const std::size_t start = cursor.Position();
    const TextSpan key{start, cursor.TakeString().size()};
    cursor.Accept(':');
    members.push_back({key, cursor.TakeValue()});
  } while (cursor.Accept(','));
  return members;
}

std::optional<std::vector<TextSpan>> FindArrayItems(std::string_view validObject,
                                                    std::string_view key) {
  const std::string quoted = '"' + std::string(key) + '"';
  Cursor cursor(validObject);
  if (!cursor.Accept('{') || cursor.Here() != '"') {
    return std::nullopt;
  }
  do {
    const bool found = cursor.TakeString() == quoted;
    cursor.Accept(':');
    if (found) {
      return cursor.Accept('[') ? std::optional(TakeItems(cursor)) : std::nullopt;
    }
    cursor.TakeValue();
  } while (cursor.Accept(','));
  return std::nullopt;
}

std::string IndentJson(std::string_view validText) {
  std::string out;
  std::size_t level = 0;
  const auto newLine = [&] { out.append("\n").append(2 * level, ' '); };
  for (Cursor cursor(validText); !cursor.AtEnd();) {
    cursor.SkipSpace();
    const char c = cursor.Here();
    if (c == '"') {
      out += cursor.TakeString();
    } else if (c == '{' || c == '[') {
      cursor.Accept(c);
      out += c;
      ++level;
      if (cursor.Here() != '}' && cursor.Here() != ']') {
        newLine();
      }
    } else if (c == '}' || c == ']') {
      const bool isEmpty = out.back() == '{' || out.back() == '[';
      cursor.Accept(c);
      --level;
      if (!isEmpty) {
        newLine();
      }
      out += c;
    } else if (c == ',') {
      cursor.Accept(c);
      out += c;
      newLine();
    } else if (c == ':') {
      cursor.Accept(c);
      out += ": ";
    } else if (c != '\0') {
      const TextSpan word = cursor.TakeValue();
      out += validText.substr(word.offset, word.length);
    }
  }
  return out;
}

}  // namespace Gateway
