// The types that cross the library's boundary, named without C.
#pragma once

#include <optional>
#include <string_view>

namespace Bindings {

enum class Type {
  Void,
  Text,  // zero-terminated UTF-8, borrowed for the call; as a result, valid while the DLL is loaded
  OwnedText,  // freed by FreeData
  FieldText,  // of the component record, freed with it
  Buffer,     // of the caller, filled with zero-terminated text
  Size,       // 64 bits, unsigned
  Int32,
  UInt32,
  UInt64,
  Double,
  Bool,  // one byte
  Pointer,
  Event,
  Value,
  Session,
  Component,
};

// The name in tav.json.
std::string_view NameOf(Type type);

// What a type of C means at each of its places. Nothing for a type that tav.h does not use there.
std::optional<Type> ParameterType(std::string_view type);
std::optional<Type> ResultType(std::string_view type);
std::optional<Type> FieldType(std::string_view type);

}  // namespace Bindings
