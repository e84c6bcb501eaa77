#include "util/json.h"

#include <string>

#include "util/logger.h"
#include "util/text.h"

namespace Tav {

namespace {

std::string Repaired(std::string_view text) {
  LogWarning("String contains non-UTF-8 characters");
  return Latin1ToUtf8(text);
}

}  // namespace

JsonPtr MakeJsonString(std::string_view text) {
  if (text.empty()) {
    return JsonPtr(json_stringn_nocheck("", 0));  // jansson rejects a null pointer
  }
  if (IsAscii(text)) {  // needs no check by jansson
    return JsonPtr(json_stringn_nocheck(text.data(), text.size()));
  }
  JsonPtr value(json_stringn(text.data(), text.size()));
  if (!value) {
    const std::string repaired = Repaired(text);
    value.Reset(json_stringn(repaired.data(), repaired.size()));
  }
  return value;
}

bool SetJsonMember(json_t* object, std::string_view key, JsonPtr value) {
  if (!value) {
    return false;
  }
  if (IsAscii(key)) {
    return json_object_setn_new_nocheck(object, key.data(), key.size(), value.Release()) == 0;
  }
  if (json_object_setn(object, key.data(), key.size(), value.Get()) == 0) {
    return true;
  }
  const std::string repaired = Repaired(key);
  return json_object_setn_new(object, repaired.data(), repaired.size(), value.Release()) == 0;
}

std::string_view JsonStringView(const json_t* value) {
  return json_is_string(value)
             ? std::string_view(json_string_value(value), json_string_length(value))
             : std::string_view();
}

}  // namespace Tav
