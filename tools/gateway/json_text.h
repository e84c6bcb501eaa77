// JSON values and JSON text. The gateway stores, lists and prints records as the text that arrived,
// so that the order of keys, the spelling of numbers and the escapes stay as the sender wrote them.
// Functions that take "valid" text expect text that jansson has accepted: they look at quotes and
// brackets only. All functions are pure and may be called from any thread.
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

// A part of a longer text.
struct TextSpan {
  std::size_t offset = 0;
  std::size_t length = 0;
};

// Parses one document; a duplicate key in an object is an error. Null on failure, with the reason
// and the position in `error`.
JsonPtr ParseJson(std::string_view text, std::string& error);

// The compact text, members in their order.
std::string DumpJson(const json_t* value);

// A JSON string made of any bytes: each byte that is not UTF-8 becomes U+FFFD.
JsonPtr JsonText(std::string_view bytes);
// The same as text, with quotes and escapes.
std::string QuoteJson(std::string_view bytes);

// The bytes of a string value; empty if `value` is null or not a string.
std::string_view TextOf(const json_t* value);

// Calls `visit(key, value)` for each member in the order of the text.
template <typename Visitor>
void ForEachMember(const json_t* object, Visitor visit) {
  // jansson iterates over mutable objects only; nothing is changed here.
  json_t* members = const_cast<json_t*>(object);
  for (void* at = json_object_iter(members); at != nullptr;
       at = json_object_iter_next(members, at)) {
    visit(std::string_view(json_object_iter_key(at)), json_object_iter_value(at));
  }
}

// Whether arrays and objects are nested deeper than `levels`.
bool IsNestedDeeper(const json_t* value, int levels);

// Offset of the first white space outside strings; npos for compact text.
std::size_t FindLooseSpace(std::string_view validText);

// A member of an object: its key with the quotes, and its value.
struct MemberSpan {
  TextSpan key;
  TextSpan value;
};

// The members of the root object, in their order; none if the root is not an object.
std::vector<MemberSpan> FindMembers(std::string_view validText);

// The items of the array that the root object has under `key`. Nothing if the key, spelled without
// escapes, is missing or its value is not an array.
std::optional<std::vector<TextSpan>> FindArrayItems(std::string_view validObject,
                                                    std::string_view key);

// The document on many lines, indented by two blanks per level.
std::string IndentJson(std::string_view validText);

}  // namespace Gateway
