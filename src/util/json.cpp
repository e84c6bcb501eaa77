#include "util/json.h"

#include <string>

#include "util/logger.h"
#include "util/text.h"

namespace Tav {

namespace {

// `text` if JSON can hold it, or else `repaired`, which is made of it. jansson does not say whether
// it had no memory or did not like the text, so it never gets to check one.
std::string_view Checked(std::string_view text, std::string& repaired) {
  if (IsStrictUtf8(text)) {
    return text;
  }
  LogWarning("String contains non-UTF-8 characters");
  repaired = Latin1ToUtf8(text);
  return repaired;
}

}  // namespace

JsonPtr MakeJsonString(std::string_view text) {
  if (text.empty()) {
    return JsonPtr(json_stringn_nocheck("", 0));  // jansson rejects a null pointer
  }
  std::string repaired;
  const std::string_view checked = Checked(text, repaired);
  return JsonPtr(json_stringn_nocheck(checked.data(), checked.size()));
}

bool SetJsonMember(json_t* object, std::string_view key, JsonPtr value) {
  if (!value) {
    return false;
  }
  std::string repaired;
  const std::string_view checked = Checked(key, repaired);
  return json_object_setn_new_nocheck(object, checked.data(), checked.size(), value.Release()) == 0;
}

std::string_view JsonStringView(const json_t* value) {
  return json_is_string(value)
             ? std::string_view(json_string_value(value), json_string_length(value))
             : std::string_view();
}

}  // namespace Tav
