#include "gateway/object_shape.h"

#include <algorithm>

#include "gateway/json_text.h"
#include "gateway/text_forms.h"

namespace Gateway {
namespace {

constexpr std::size_t kMaxShown = 60;

std::string Shorten(std::string_view text) {
  if (text.size() <= kMaxShown) {
    return std::string(text);
  }
  std::size_t end = kMaxShown;
  // Never cut a UTF-8 sequence in two: its later bytes are 10xxxxxx.
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
    --end;
  }
  return std::string(text.substr(0, end)) + "…";
}

void AddWrongType(const json_t* value,
                  std::string_view expected,
                  const std::string& where,
                  Problems& problems) {
  problems.Add(where + " is " + std::string(TypeName(value)) + " instead of " +
               std::string(expected));
}

}  // namespace

bool CheckShape(const json_t* value,
                std::span<const KeyRule> rules,
                const std::string& where,
                Problems& problems) {
  if (!json_is_object(value)) {
    AddWrongType(value, "an object", where.empty() ? "the record" : where, problems);
    return false;
  }
  for (const KeyRule& rule : rules) {
    if (rule.isRequired && json_object_getn(value, rule.key.data(), rule.key.size()) == nullptr) {
      problems.Add(Inside(where, rule.key) + " is missing");
    }
  }
  auto expected = rules.begin();
  ForEachMember(value, [&](std::string_view key, const json_t* member) {
    const auto rule = std::ranges::find(rules, key, &KeyRule::key);
    if (rule == rules.end()) {
      problems.Add(Inside(where, Shorten(key)) + " is not a known key");
      return;
    }
    if (rule < expected) {
      problems.Add(Inside(where, key) + " stands after \"" + std::string((expected - 1)->key) +
                   "\" instead of before it");
    }
    expected = std::max(expected, rule + 1);
    rule->check(member, Inside(where, key), problems);
  });
  return true;
}

std::string Inside(const std::string& where, std::string_view key) {
  const std::string quoted = '"' + std::string(key) + '"';
  return where.empty() ? quoted : where + ' ' + quoted;
}

std::string Show(std::string_view text) {
  return '"' + Shorten(text) + '"';
}

std::string_view TypeName(const json_t* value) {
  switch (json_typeof(value)) {
    case JSON_OBJECT:
      return "an object";
    case JSON_ARRAY:
      return "an array";
    case JSON_STRING:
      return "a string";
    case JSON_INTEGER:
      return "an integer";
    case JSON_REAL:
      return "a real number";
    case JSON_TRUE:
    case JSON_FALSE:
      return "a boolean";
    case JSON_NULL:
      return "null";
  }
  return "of an unknown type";
}

void CheckText(const json_t* value, const std::string& where, Problems& problems) {
  if (!json_is_string(value)) {
    AddWrongType(value, "a string", where, problems);
  }
}

void CheckFilledText(const json_t* value, const std::string& where, Problems& problems) {
  CheckText(value, where, problems);
  if (json_is_string(value) && json_string_length(value) == 0) {
    problems.Add(where + " is empty");
  }
}

void CheckTextOrNumber(const json_t* value, const std::string& where, Problems& problems) {
  if (!json_is_string(value) && !json_is_number(value)) {
    AddWrongType(value, "a string or a number", where, problems);
  }
}

void CheckTextList(const json_t* value, const std::string& where, Problems& problems) {
  if (!json_is_array(value)) {
    AddWrongType(value, "an array of strings", where, problems);
    return;
  }
  for (std::size_t i = 0; i < json_array_size(value); ++i) {
    CheckText(json_array_get(value, i), where + '[' + std::to_string(i) + ']', problems);
  }
}

void CheckTimeStamp(const json_t* value, const std::string& where, Problems& problems) {
  CheckText(value, where, problems);
  if (json_is_string(value) && !IsTimeStamp(TextOf(value))) {
    problems.Add(where + ": " + Show(TextOf(value)) +
                 " is not a time stamp (YYYY-MM-DDThh:mm:ss.mmm and an offset or Z)");
  }
}

}  // namespace Gateway
