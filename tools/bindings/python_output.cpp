// ctypes for Python.
#include "bindings/outputs.h"

namespace Bindings {
namespace {

std::string PythonType(Type type) {
  switch (type) {
    case Type::Void:
      return "None";
    case Type::Text:
      return "c_char_p";
    case Type::Size:
      return "c_size_t";
    case Type::Int32:
      return "c_int32";
    case Type::UInt32:
      return "c_uint32";
    case Type::UInt64:
      return "c_uint64";
    case Type::Double:
      return "c_double";
    case Type::Bool:
      return "c_bool";
    default:
      return "c_void_p";
  }
}

// ("Commit", c_int32, ()), or ("magic", c_uint64, None) for a field.
std::string Entry(const Member& member) {
  std::string text = "    (\"" + member.name + "\", " + PythonType(member.type) + ", ";
  if (!member.isFunction) {
    return text + "None),\n";
  }
  text += '(';
  for (const Parameter& parameter : member.parameters) {
    text += (text.ends_with('(') ? "" : " ") + PythonType(parameter.type) + ',';
  }
  return text + ")),\n";
}

std::string List(const std::string& name, const std::vector<Member>& members) {
  std::string text = name + " = (\n";
  for (const Member& member : members) {
    text += Entry(member);
  }
  return text + ")\n";
}

// TAV_UNIT_DAYS is UNIT_DAYS.
std::string Assignment(const Constant& constant) {
  return constant.name.substr(std::string_view("TAV_").size()) + " = " +
         std::to_string(constant.value) + '\n';
}

}  // namespace

std::string PythonOutput(const Header& header) {
  std::string text = "_LOADER = \"" + header.loaderName +
                     "\"\n_INTERFACE_VERSION = " + std::to_string(header.interfaceVersion) + "\n\n";
  for (const Enumeration& enumeration : header.enumerations) {
    for (const Constant& constant : enumeration.constants) {
      text += Assignment(constant);
    }
  }
  for (const Constant& constant : header.numbers) {
    text += Assignment(constant);
  }
  return text + "\n# (name, result, parameters)\n" + List("_TABLE", header.table) +
         "\n# The same; a field has no parameters.\n" + List("_COMPONENT", header.component);
}

}  // namespace Bindings
