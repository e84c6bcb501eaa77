// repr(C) structures for Rust.
#include <cctype>

#include "bindings/outputs.h"

namespace Bindings {
namespace {

std::string RustType(Type type) {
  switch (type) {
    case Type::Void:
      return "()";
    case Type::Text:
      return "*const c_char";
    case Type::OwnedText:
    case Type::FieldText:
    case Type::Buffer:
      return "*mut c_char";
    case Type::Size:
      return "usize";
    case Type::Int32:
      return "i32";
    case Type::UInt32:
      return "u32";
    case Type::UInt64:
      return "u64";
    case Type::Double:
      return "f64";
    case Type::Bool:
      return "bool";
    default:
      return "*mut c_void";
  }
}

// NewEvent is new_event.
std::string SnakeCase(const std::string& name) {
  std::string text;
  for (const char c : name) {
    if (std::isupper(static_cast<unsigned char>(c)) != 0) {
      text += text.empty() ? "" : "_";
      text += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    } else {
      text += c;
    }
  }
  return text;
}

std::string Declaration(const Member& member) {
  std::string text = "    pub " + SnakeCase(member.name) + ": ";
  if (!member.isFunction) {
    return text + RustType(member.type) + ",\n";
  }
  text += "unsafe extern \"C\" fn(";
  for (const Parameter& parameter : member.parameters) {
    text += (text.ends_with('(') ? "" : ", ") + RustType(parameter.type);
  }
  text += ')';
  return text + (member.type == Type::Void ? "" : " -> " + RustType(member.type)) + ",\n";
}

std::string Structure(const std::string& name, const std::vector<Member>& members) {
  std::string text = "#[repr(C)]\npub struct " + name + " {\n";
  for (const Member& member : members) {
    text += Declaration(member);
  }
  return text + "}\n";
}

std::string Constants(const std::vector<Constant>& constants) {
  std::string text;
  for (const Constant& constant : constants) {
    text += "pub const " + constant.name + ": i64 = " + std::to_string(constant.value) + ";\n";
  }
  return text;
}

}  // namespace

std::string RustOutput(const Header& header) {
  std::string text =
      "pub const LOADER: &[u8] = b\"" + header.loaderName +
      "\\0\";\npub const INTERFACE_VERSION: i32 = " + std::to_string(header.interfaceVersion) +
      ";\n";
  for (const Enumeration& enumeration : header.enumerations) {
    text += Constants(enumeration.constants);
  }
  return text + Constants(header.numbers) + '\n' + Structure("Table", header.table) + '\n' +
         Structure("ComponentRecord", header.component);
}

}  // namespace Bindings
