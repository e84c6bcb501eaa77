// JSON as text: the gateway stores, lists and prints what arrived without rewriting it, so that key
// order, number spelling and escapes stay exactly as the sender wrote them. Functions that take
// "valid" JSON text expect a text that jansson has accepted; they find their way by quotes and
// brackets alone. All are pure and may be called from any thread.
#pragma once

#include <jansson.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Gateway {

struct JsonRelease {
  void operator()(json_t* value) const { json_decref(value); }
};
// Owns one reference to a JSON value.
using JsonPtr = std::unique_ptr<json_t, JsonRelease>;

// A stretch of a longer text.
struct TextSpan {
  std::size_t offset = 0;
  std::size_t length = 0;
};

// Parses one document; a key that stands twice in an object is an error. Null on failure, with the
// reason and the place in `error`.
JsonPtr ParseJson(std::string_view text, std::string& error);

// The value's compact text, members in their own order.
std::string DumpJson(const json_t* value);

// A JSON string of any bytes: what is not UTF-8 is replaced by U+FFFD.
JsonPtr JsonText(std::string_view bytes);
// The same as JSON text, with its quotes.
std::string QuoteJson(std::string_view bytes);

// The bytes of a string value; empty when `value` is null or no string.
std::string_view TextOf(const json_t* value);

// Offset of the first white space outside strings, or npos: a compact text has none.
std::size_t FindLooseSpace(std::string_view validText);

// The items of the array that the root object holds under `key`, in order. Nothing when the key,
// spelled without escapes, is missing or holds no array.
std::optional<std::vector<TextSpan>> FindArrayItems(std::string_view validObject,
                                                    std::string_view key);

// The same document on many lines, two blanks per level.
std::string IndentJson(std::string_view validText);

}  // namespace Gateway
