#include "bindings/types.h"

#include <array>
#include <utility>

namespace Bindings {
namespace {

using Entry = std::pair<std::string_view, Type>;

// The types that mean the same everywhere.
constexpr Entry kCommon[] = {
    {"int", Type::Int32},
    {"int32_t", Type::Int32},
    {"unsigned int", Type::UInt32},
    {"uint64_t", Type::UInt64},
    {"size_t", Type::Size},
    {"double", Type::Double},
    {"bool", Type::Bool},
    {"void*", Type::Pointer},
    {"Backdoor*", Type::Pointer},
    {"const char*", Type::Text},
    {"TavEvent_s*", Type::Event},
    {"TavValue_s*", Type::Value},
    {"TavSession_s*", Type::Session},
    {"TavComponent_s*", Type::Component},
};

std::optional<Type> Find(std::string_view type, const Entry& special) {
  if (type == special.first) {
    return special.second;
  }
  for (const auto& [name, meaning] : kCommon) {
    if (name == type) {
      return meaning;
    }
  }
  return std::nullopt;
}

}  // namespace

std::string_view NameOf(Type type) {
  constexpr std::array<std::string_view, 16> kNames = {
      "void",   "text",   "ownedText", "fieldText", "buffer", "size",  "int32",   "uint32",
      "uint64", "double", "bool",      "pointer",   "event",  "value", "session", "component"};
  return kNames.at(static_cast<std::size_t>(type));
}

std::optional<Type> ParameterType(std::string_view type) {
  return Find(type, {"char*", Type::Buffer});
}

std::optional<Type> ResultType(std::string_view type) {
  return type == "void" ? Type::Void : Find(type, {"char*", Type::OwnedText});
}

std::optional<Type> FieldType(std::string_view type) {
  return Find(type, {"char*", Type::FieldText});
}

}  // namespace Bindings
