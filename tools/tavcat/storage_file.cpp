#include <algorithm>
#include <charconv>
#include <string>
#include <vector>

#include "storage/storage_keys.h"
#include "tavcat/folder.h"
#include "tavcat/text.h"

namespace Tavcat {

namespace {

using namespace Tav::StorageKeys;

enum class Kind { Value, Text, Seconds, Day, Map, List };

// All other keys, except those of a product's identity, have Kind::Value: a text or a number.
constexpr struct {
  std::string_view key;
  Kind kind;
} kKinds[] = {
    {"Endpoint", Kind::Text},  {"LastClientQuery", Kind::Day},   {"LastServerAccess", Kind::Day},
    {"LastActive", Kind::Day}, {"LastConfigAccess", Kind::Day},  {"Registered", Kind::Seconds},
    {"Server", Kind::Text},    {"PendingStdOptOut", Kind::Text}, {kValues, Kind::Map},
    {kSettings, Kind::Map},    {kInhibit, Kind::List},
};
constexpr const char* kIdentity[] = {kName, kVersion, kPlatform};

Kind KindOf(std::string_view key) {
  const auto* const found =
      std::ranges::find(kKinds, key, [](const auto& entry) { return entry.key; });
  return found != std::end(kKinds) ? found->kind : Kind::Value;
}

const char* TypeName(const json_t* value) {
  // In the order of jansson's types.
  constexpr const char* kNames[] = {"an object", "an array", "a text", "a number",
                                    "a number",  "true",     "false",  "null"};
  return kNames[json_typeof(value)];
}

// What a time or a day means; empty for other values.
std::string Meaning(Kind kind, const json_t* value) {
  if (kind == Kind::Day) {
    return DateText(json_number_value(value));
  }
  const std::string_view text = Tav::JsonStringView(value);
  const char* const end = text.data() + text.size();
  int64_t seconds = -1;
  const bool known = kind == Kind::Seconds && !text.empty() &&
                     std::from_chars(text.data(), end, seconds).ptr == end;
  return known ? MomentText(seconds) : "";
}

// What the value should be; empty if it is that.
const char* ExpectedType(Kind kind, const json_t* value) {
  switch (kind) {
    case Kind::Day:
      return json_is_number(value) ? "" : "the number of a day";
    case Kind::Map:
      return json_is_object(value) ? "" : "an object";
    case Kind::List:
      return json_is_array(value) ? "" : "an array";
    case Kind::Value:
      return json_is_string(value) || json_is_number(value) ? "" : "a text or a number";
    default:
      return json_is_string(value) ? "" : "a text";
  }
}

void ShowMember(int depth, std::string_view key, Kind kind, const json_t* value, Report& report) {
  const std::string name = std::string(key) + ": ";
  const std::string expected = ExpectedType(kind, value);
  if (!expected.empty()) {
    report.Line(depth, name + JsonText(value));
    report.Damage(depth, std::string("this should be ") + expected + "; the library ignores it");
  } else if (kind == Kind::Map) {
    report.Line(depth, name + std::to_string(json_object_size(value)));
    const char* member = nullptr;
    json_t* content = nullptr;
    json_object_foreach(const_cast<json_t*>(value), member, content) {  // only reads
      ShowMember(depth + 1, member, Kind::Value, content, report);
    }
  } else if (kind == Kind::List) {
    report.Line(depth, name + std::to_string(json_array_size(value)));
    for (size_t i = 0; i < json_array_size(value); ++i) {
      ShowMember(depth + 1, std::to_string(i), Kind::Text, json_array_get(value, i), report);
    }
  } else {
    const std::string meaning = Meaning(kind, value);
    report.Line(depth, name + JsonText(value) + (meaning.empty() ? "" : " = " + meaning));
  }
}

void ShowProduct(const json_t* product, std::vector<std::string>& seen, Report& report) {
  std::string identity;
  bool complete = true;
  for (const char* key : kIdentity) {
    const json_t* const part = json_object_get(product, key);
    complete = complete && json_is_string(part);
    identity += ' ' + (part != nullptr ? JsonText(part) : "?");
  }
  report.Line(1, "Product" + identity);
  if (!complete) {
    report.Damage(2, "Name, Version or Platform is missing or not a text; the library ignores it");
  } else if (std::ranges::find(seen, identity) != seen.end()) {
    report.Damage(2, "duplicate product; the library uses the first one");
  }
  seen.push_back(identity);
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(const_cast<json_t*>(product), key, value) {  // only reads
    if (std::ranges::find(kIdentity, std::string_view(key)) == std::end(kIdentity)) {
      ShowMember(2, key, KindOf(key), value, report);
    }
  }
}

void ShowProducts(const json_t* products, Report& report) {
  std::vector<std::string> seen;
  for (size_t i = 0; i < json_array_size(products); ++i) {
    const json_t* const product = json_array_get(products, i);
    if (json_is_object(product)) {
      ShowProduct(product, seen, report);
    } else {
      report.Damage(1, "element " + std::to_string(i) + " of Products is " + TypeName(product) +
                           ", not an object; the library ignores it");
    }
  }
}

// What the library does with a document that it cannot use.
struct Consequences {
  const char* notJson;
  const char* noProducts;
};

void ShowDocument(std::string_view bytes, const Consequences& consequences, Report& report) {
  std::string error;
  const Tav::JsonPtr root = ParseJson(bytes, error);
  if (!root) {
    report.Damage(1, (bytes.empty() ? "it is empty" : "it is not JSON (" + error + ")") +
                         consequences.notJson);
    return;
  }
  const json_t* const products = json_object_get(root.Get(), kProducts);
  if (!json_is_array(products)) {
    const std::string found = products == nullptr ? "missing" : TypeName(products);
    report.Damage(1, "the array Products is " + found + consequences.noProducts);
  }
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(root.Get(), key, value) {
    if (value == products) {
      ShowProducts(products, report);
    } else {
      ShowMember(1, key, KindOf(key), value, report);
    }
  }
}

}  // namespace

void ShowStorageFile(std::string_view bytes, Report& report) {
  constexpr Consequences kConsequences = {
      "; the library uses the copy (.new), or starts over if there is none",
      "; the library treats it as empty and replaces it"};
  ShowDocument(bytes, kConsequences, report);
}

void ShowStorageCopy(std::string_view bytes, Report& report) {
  report.Damage(
      1,
      "left by an interrupted save, unless a save is in progress; it is used only while the main "
      "file is not JSON");
  ShowDocument(bytes, {"; it cannot be used", "; it cannot be used"}, report);
}

}  // namespace Tavcat
