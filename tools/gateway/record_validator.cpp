#include "gateway/record_validator.h"

#include <string>

#include "gateway/json_text.h"
#include "gateway/object_shape.h"
#include "gateway/text_forms.h"

namespace Gateway {
namespace {

constexpr json_int_t kLayoutVersion = 3;

// The one content type that the library sends.
constexpr std::string_view kContentType = "application/json; charset=utf-8";

void CheckSessionId(const json_t* value, const std::string& where, Problems& problems) {
  CheckText(value, where, problems);
  if (json_is_string(value) && !IsSessionId(TextOf(value))) {
    problems.Add(where + ": " + Show(TextOf(value)) +
                 " is not a session id (8-4-4-4-12 lower-case hexadecimal digits)");
  }
}

void CheckLibraryVersion(const json_t* value, const std::string& where, Problems& problems) {
  CheckText(value, where, problems);
  if (json_is_string(value) && !IsLibraryVersion(TextOf(value))) {
    problems.Add(where + ": " + Show(TextOf(value)) + " is not a version of four numbers");
  }
}

void CheckLayoutVersion(const json_t* value, const std::string& where, Problems& problems) {
  if (!json_is_integer(value) || json_integer_value(value) != kLayoutVersion) {
    problems.Add(where + " is " + DumpJson(value) + " instead of 3");
  }
}

void CheckListMembers(const json_t* value, const std::string& where, Problems& problems) {
  if (!json_is_object(value)) {
    problems.Add(where + " is " + std::string(TypeName(value)) + " instead of an object of lists");
    return;
  }
  ForEachMember(value, [&](std::string_view key, const json_t* list) {
    CheckTextList(list, Inside(where, key), problems);
  });
}

// The product environment: the host's values, then how complete they are and their time stamp.
void CheckProductEnvironment(const json_t* value, const std::string& where, Problems& problems) {
  if (!json_is_object(value)) {
    problems.Add(where + " is " + std::string(TypeName(value)) + " instead of an object");
    return;
  }
  const std::string_view incremental = TextOf(json_object_get(value, "std-Incremental"));
  if (incremental != "true" && incremental != "false") {
    problems.Add(Inside(where, "std-Incremental") + R"( is neither "true" nor "false")");
  }
  if (json_object_get(value, "t") == nullptr) {
    problems.Add(Inside(where, "t") + " is missing");
  }
  ForEachMember(value, [&](std::string_view key, const json_t* member) {
    (key == "t" ? CheckTimeStamp : CheckTextOrNumber)(member, Inside(where, key), problems);
  });
}

// The client environment: its time stamp, then texts.
void CheckClientEnvironment(const json_t* value, const std::string& where, Problems& problems) {
  if (!json_is_object(value)) {
    problems.Add(where + " is " + std::string(TypeName(value)) + " instead of an object");
    return;
  }
  bool isFirst = true;
  ForEachMember(value, [&](std::string_view key, const json_t* member) {
    if (isFirst && key != "t") {
      problems.Add(Inside(where, "t") + " does not come first");
    }
    isFirst = false;
    (key == "t" ? CheckTimeStamp : CheckText)(member, Inside(where, key), problems);
  });
  if (isFirst) {
    problems.Add(Inside(where, "t") + " is missing");
  }
}

// The items of a stack trace; a part of an item is left out when it is empty.
void CheckTrace(const json_t* value, const std::string& where, Problems& problems) {
  static constexpr KeyRule kItemKeys[] = {
      {"std-Loc", false, CheckFilledText},
      {"std-Lib", false, CheckFilledText},
      {"std-Meta", false, CheckFilledText},
  };
  if (!json_is_array(value)) {
    problems.Add(where + " is " + std::string(TypeName(value)) + " instead of an array of objects");
    return;
  }
  for (std::size_t i = 0; i < json_array_size(value); ++i) {
    CheckShape(json_array_get(value, i), kItemKeys, where + '[' + std::to_string(i) + ']',
               problems);
  }
}

void CheckProperties(const json_t* value, const std::string& where, Problems& problems) {
  if (!json_is_object(value) || json_object_size(value) == 0) {
    problems.Add(where + " is not an object with properties");
    return;
  }
  ForEachMember(value, [&](std::string_view key, const json_t* property) {
    const bool isSavedList = key == "std-Place" || key == "std-Cmd";
    const ValueCheck check = key == "std-Trace" ? CheckTrace
                             : isSavedList      ? CheckTextList
                                                : CheckTextOrNumber;
    check(property, Inside(where, key), problems);
    if (key.empty()) {
      problems.Add(where + " has a property without a name");
    }
  });
}

void CheckSessionEnvironment(const json_t* value, const std::string& where, Problems& problems) {
  if (!json_is_object(value) || json_object_size(value) == 0) {
    problems.Add(where + " is not an object with values");
    return;
  }
  ForEachMember(value, [&](std::string_view key, const json_t* member) {
    CheckTextOrNumber(member, Inside(where, key), problems);
  });
}

void CheckEvent(const json_t* event, const std::string& where, Problems& problems) {
  static constexpr KeyRule kEventKeys[] = {
      {"t", true, CheckTimeStamp},   {"s", true, CheckSessionId},
      {"g", false, CheckFilledText}, {"m", false, CheckFilledText},
      {"v", false, CheckProperties}, {"se", false, CheckSessionEnvironment},
  };
  if (!CheckShape(event, kEventKeys, where, problems)) {
    return;
  }
  const bool isMarker = json_object_get(event, "g") != nullptr;
  if (isMarker == (json_object_get(event, "m") != nullptr)) {
    problems.Add(where + (isMarker ? R"( has both "g" and "m")" : R"( has neither "g" nor "m")"));
  }
  for (const char* key : {"v", "se"}) {
    if (isMarker && json_object_get(event, key) != nullptr) {
      problems.Add(where + " is a marker and has \"" + key + '"');
    }
  }
}

void CheckEvents(const json_t* value, const std::string& where, Problems& problems) {
  if (!json_is_array(value) || json_array_size(value) == 0) {
    problems.Add(where + " is not an array with events");
    return;
  }
  for (std::size_t i = 0; i < json_array_size(value); ++i) {
    CheckEvent(json_array_get(value, i), where + '[' + std::to_string(i) + ']', problems);
  }
}

}  // namespace

std::string_view HeaderValue(const Headers& headers, std::string_view lowerCaseName) {
  const auto found = headers.find(lowerCaseName);
  return found != headers.end() ? std::string_view(found->second) : std::string_view();
}

void CheckRequestHeaders(const Headers& headers, Problems& problems) {
  const std::string_view encoding = HeaderValue(headers, "content-encoding");
  const std::string_view compressed = HeaderValue(headers, "x-compressed");
  if (encoding == "gzip") {
    if (compressed != "true") {
      problems.Add("X-Compressed is " + Show(compressed) + R"( instead of "true")");
    }
  } else if (!encoding.empty() && encoding != "identity") {
    problems.Add("Content-Encoding " + Show(encoding) + " is neither gzip nor identity");
  } else if (compressed == "true") {
    problems.Add("X-Compressed is \"true\" without Content-Encoding: gzip");
  }
  if (HeaderValue(headers, "content-type") != kContentType) {
    problems.Add("Content-Type is " + Show(HeaderValue(headers, "content-type")) + " instead of " +
                 Show(kContentType));
  }
  if (!IsLibraryVersion(HeaderValue(headers, "x-sdkversion"))) {
    problems.Add("X-SDKVersion is " + Show(HeaderValue(headers, "x-sdkversion")) +
                 " instead of a version of four numbers");
  }
}

void CheckRecord(const json_t* record, Problems& problems) {
  static constexpr KeyRule kRecordKeys[] = {
      {"pn", true, CheckFilledText},         {"pv", true, CheckFilledText},
      {"pp", true, CheckFilledText},         {"sv", true, CheckLibraryVersion},
      {"tv", true, CheckLayoutVersion},      {"ep", true, CheckText},
      {"c", false, CheckFilledText},         {"u", false, CheckFilledText},
      {"px", false, CheckFilledText},        {"pc", false, CheckFilledText},
      {"pt", true, CheckListMembers},        {"pe", false, CheckProductEnvironment},
      {"ce", false, CheckClientEnvironment}, {"rt", false, CheckEvents},
      {"can", false, CheckFilledText},       {"cav", false, CheckText},
  };
  if (!CheckShape(record, kRecordKeys, "", problems)) {
    return;
  }
  const bool hasComponent = json_object_get(record, "can") != nullptr;
  if (hasComponent != (json_object_get(record, "cav") != nullptr)) {
    problems.Add(hasComponent ? R"("can" stands without "cav")" : R"("cav" stands without "can")");
  }
}

}  // namespace Gateway
