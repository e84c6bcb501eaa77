#include "gateway/record_validator.h"

#include <string>

#include "gateway/json_text.h"
#include "gateway/value_checks.h"

namespace Gateway {
namespace {

constexpr json_int_t kLayoutVersion = 3;

// The only content type that the library sends.
constexpr std::string_view kContentType = "application/json; charset=utf-8";

void CheckLayoutVersion(const json_t* value, const std::string& path, Problems& problems) {
  if (!json_is_integer(value) || json_integer_value(value) != kLayoutVersion) {
    problems.Add(path + " is " + DumpJson(value) + " instead of 3");
  }
}

void CheckListMembers(const json_t* value, const std::string& path, Problems& problems) {
  if (!json_is_object(value)) {
    AddWrongType(value, "an object of lists", path, problems);
    return;
  }
  ForEachMember(value, [&](std::string_view key, const json_t* list) {
    CheckTextList(list, MemberPath(path, key), problems);
  });
}

// The product environment: the host's values, whether the list is complete, a time stamp.
void CheckProductEnvironment(const json_t* value, const std::string& path, Problems& problems) {
  if (!json_is_object(value)) {
    AddWrongType(value, "an object", path, problems);
    return;
  }
  const std::string_view incremental = TextOf(json_object_get(value, "std-Incremental"));
  if (incremental != "true" && incremental != "false") {
    problems.Add(MemberPath(path, "std-Incremental") + R"( is neither "true" nor "false")");
  }
  if (json_object_get(value, "t") == nullptr) {
    problems.Add(MemberPath(path, "t") + " is missing");
  }
  ForEachMember(value, [&](std::string_view key, const json_t* member) {
    (key == "t" ? CheckTimeStamp : CheckTextOrNumber)(member, MemberPath(path, key), problems);
  });
}

// The client environment: a time stamp, then texts.
void CheckClientEnvironment(const json_t* value, const std::string& path, Problems& problems) {
  if (!json_is_object(value)) {
    AddWrongType(value, "an object", path, problems);
    return;
  }
  bool isFirst = true;
  ForEachMember(value, [&](std::string_view key, const json_t* member) {
    if (isFirst && key != "t") {
      problems.Add(MemberPath(path, "t") + " does not come first");
    }
    isFirst = false;
    (key == "t" ? CheckTimeStamp : CheckText)(member, MemberPath(path, key), problems);
  });
  if (isFirst) {
    problems.Add(MemberPath(path, "t") + " is missing");
  }
}

// The items of a stack trace. Empty parts of an item are omitted.
void CheckTrace(const json_t* value, const std::string& path, Problems& problems) {
  static constexpr KeyRule kItemKeys[] = {
      {"std-Loc", false, CheckFilledText},
      {"std-Lib", false, CheckFilledText},
      {"std-Meta", false, CheckFilledText},
  };
  if (!json_is_array(value)) {
    AddWrongType(value, "an array of objects", path, problems);
    return;
  }
  for (std::size_t i = 0; i < json_array_size(value); ++i) {
    CheckObject(json_array_get(value, i), kItemKeys, ItemPath(path, i), problems);
  }
}

void CheckProperties(const json_t* value, const std::string& path, Problems& problems) {
  if (!json_is_object(value) || json_object_size(value) == 0) {
    problems.Add(path + " is not an object with properties");
    return;
  }
  ForEachMember(value, [&](std::string_view key, const json_t* property) {
    const bool isBreadcrumbs = key == "std-Place" || key == "std-Cmd";
    const ValueCheck check = key == "std-Trace" ? CheckTrace
                             : isBreadcrumbs    ? CheckTextList
                                                : CheckTextOrNumber;
    check(property, MemberPath(path, key), problems);
    if (key.empty()) {
      problems.Add(path + " has a property without a name");
    }
  });
}

void CheckSessionEnvironment(const json_t* value, const std::string& path, Problems& problems) {
  if (!json_is_object(value) || json_object_size(value) == 0) {
    problems.Add(path + " is not an object with values");
    return;
  }
  ForEachMember(value, [&](std::string_view key, const json_t* member) {
    CheckTextOrNumber(member, MemberPath(path, key), problems);
  });
}

void CheckEvent(const json_t* event, const std::string& path, Problems& problems) {
  static constexpr KeyRule kEventKeys[] = {
      {"t", true, CheckTimeStamp},   {"s", true, CheckSessionId},
      {"g", false, CheckFilledText}, {"m", false, CheckFilledText},
      {"v", false, CheckProperties}, {"se", false, CheckSessionEnvironment},
  };
  if (!CheckObject(event, kEventKeys, path, problems)) {
    return;
  }
  const bool isMarker = json_object_get(event, "g") != nullptr;
  if (isMarker == (json_object_get(event, "m") != nullptr)) {
    problems.Add(path + (isMarker ? R"( has both "g" and "m")" : R"( has neither "g" nor "m")"));
  }
  for (const char* key : {"v", "se"}) {
    if (isMarker && json_object_get(event, key) != nullptr) {
      problems.Add(path + " is a marker and has \"" + key + '"');
    }
  }
}

void CheckEvents(const json_t* value, const std::string& path, Problems& problems) {
  if (!json_is_array(value) || json_array_size(value) == 0) {
    problems.Add(path + " is not an array with events");
    return;
  }
  for (std::size_t i = 0; i < json_array_size(value); ++i) {
    CheckEvent(json_array_get(value, i), ItemPath(path, i), problems);
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
      problems.Add("X-Compressed is " + Quoted(compressed) + R"( instead of "true")");
    }
  } else if (!encoding.empty() && encoding != "identity") {
    problems.Add("Content-Encoding " + Quoted(encoding) + " is neither gzip nor identity");
  } else if (compressed == "true") {
    problems.Add("X-Compressed is \"true\" without Content-Encoding: gzip");
  }
  if (HeaderValue(headers, "content-type") != kContentType) {
    problems.Add("Content-Type is " + Quoted(HeaderValue(headers, "content-type")) +
                 " instead of " + Quoted(kContentType));
  }
  if (!IsLibraryVersion(HeaderValue(headers, "x-sdkversion"))) {
    problems.Add("X-SDKVersion is " + Quoted(HeaderValue(headers, "x-sdkversion")) +
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
  if (!CheckObject(record, kRecordKeys, "", problems)) {
    return;
  }
  const bool hasComponent = json_object_get(record, "can") != nullptr;
  if (hasComponent != (json_object_get(record, "cav") != nullptr)) {
    problems.Add(hasComponent ? R"("can" without "cav")" : R"("cav" without "can")");
  }
}

}  // namespace Gateway
