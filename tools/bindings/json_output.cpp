#include <jansson.h>

#include <memory>
#include <stdexcept>

#include "bindings/outputs.h"

namespace Bindings {
namespace {

constexpr std::size_t kIndent = 1;

json_t* Text(std::string_view text) {
  return json_stringn(text.data(), text.size());
}

json_t* Described(const Constant& constant) {
  return json_pack("{s:s, s:I, s:s}", "name", constant.name.c_str(), "value",
                   static_cast<json_int_t>(constant.value), "comment", constant.comment.c_str());
}

json_t* Described(const Enumeration& enumeration) {
  json_t* const constants = json_array();
  for (const Constant& constant : enumeration.constants) {
    json_array_append_new(constants, Described(constant));
  }
  return json_pack("{s:s, s:o}", "comment", enumeration.comment.c_str(), "constants", constants);
}

// `position` is "slot" or "word".
json_t* Described(const Member& member, const char* position, std::size_t index) {
  json_t* const object = json_object();
  json_object_set_new(object, position, json_integer(static_cast<json_int_t>(index)));
  json_object_set_new(object, "name", Text(member.name));
  json_object_set_new(object, member.isFunction ? "result" : "field", Text(NameOf(member.type)));
  if (member.isFunction) {
    json_t* const parameters = json_array();
    for (const Parameter& parameter : member.parameters) {
      json_array_append_new(parameters, json_pack("{s:s, s:o}", "name", parameter.name.c_str(),
                                                  "type", Text(NameOf(parameter.type))));
    }
    json_object_set_new(object, "parameters", parameters);
  }
  json_object_set_new(object, "comment", Text(member.comment));
  return object;
}

template <typename Items, typename... Position>
json_t* DescribedList(const Items& items, Position... position) {
  json_t* const list = json_array();
  for (std::size_t index = 0; index < items.size(); ++index) {
    if constexpr (sizeof...(position) == 0) {
      json_array_append_new(list, Described(items[index]));
    } else {
      json_array_append_new(list, Described(items[index], position..., index));
    }
  }
  return list;
}

}  // namespace

std::string JsonOutput(const Header& header) {
  const std::unique_ptr<json_t, void (*)(json_t*)> root(
      json_pack("{s:s, s:i, s:s, s:o, s:o, s:o, s:o}", "loader", header.loaderName.c_str(),
                "interfaceVersion", header.interfaceVersion, "libraryVersion",
                header.libraryVersion.c_str(), "numbers", DescribedList(header.numbers),
                "enumerations", DescribedList(header.enumerations), "table",
                DescribedList(header.table, "slot"), "component",
                DescribedList(header.component, "word")),
      [](json_t* value) { json_decref(value); });
  const std::unique_ptr<char, void (*)(void*)> text(
      json_dumps(root.get(), JSON_INDENT(kIndent) | JSON_ENSURE_ASCII), free);
  if (!text) {
    throw std::runtime_error("tav.h contains text that is not UTF-8");
  }
  return std::string(text.get()) + '\n';
}

}  // namespace Bindings
