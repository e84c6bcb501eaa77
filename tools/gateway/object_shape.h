// What an object of the record looks like: its keys in order, and a check for each value.
#pragma once

#include <jansson.h>

#include <span>
#include <string>
#include <string_view>

#include "gateway/problems.h"

namespace Gateway {

// Adds to `problems` what is wrong with `value`; `where` names its place for people.
using ValueCheck = void (*)(const json_t* value, const std::string& where, Problems& problems);

struct KeyRule {
  std::string_view key;
  bool isRequired;
  ValueCheck check;
};

// Checks that `value` is an object that holds the keys of `rules` and no others, in the order of
// `rules`, each with a good value. Returns false when it is no object at all.
bool CheckShape(const json_t* value,
                std::span<const KeyRule> rules,
                const std::string& where,
                Problems& problems);

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

// `"rt"[3]` and `"v"` make `"rt"[3] "v"`; the outermost place has no name.
std::string Inside(const std::string& where, std::string_view key);

// A text in quotes, shortened when it is long, for messages.
std::string Show(std::string_view text);

// "string", "integer", …
std::string_view TypeName(const json_t* value);

// Checks for single values.
void CheckText(const json_t* value, const std::string& where, Problems& problems);
void CheckFilledText(const json_t* value, const std::string& where, Problems& problems);
void CheckTextOrNumber(const json_t* value, const std::string& where, Problems& problems);
void CheckTextList(const json_t* value, const std::string& where, Problems& problems);
void CheckTimeStamp(const json_t* value, const std::string& where, Problems& problems);

}  // namespace Gateway
