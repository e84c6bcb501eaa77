// koffi's types for Node.
#include <stdexcept>

#include "bindings/outputs.h"

namespace Bindings {
namespace {

// Handles are plain pointers; the classes of the binding keep them apart.
std::string KoffiType(Type type) {
  switch (type) {
    case Type::Void:
      return "void";
    case Type::Text:
      return "str";
    case Type::Size:
      return "size_t";
    case Type::Int32:
      return "int32";
    case Type::UInt32:
      return "uint32";
    case Type::UInt64:
      return "uint64";
    case Type::Double:
      return "double";
    case Type::Bool:
      return "bool";
    default:
      return "void *";
  }
}

std::string Entry(const Member& member) {
  std::string text = "  ['" + member.name + "', '" + KoffiType(member.type) + "'";
  if (member.isFunction) {
    text += ", [";
    for (const Parameter& parameter : member.parameters) {
      text += (text.ends_with('[') ? "'" : ", '") + KoffiType(parameter.type) + '\'';
    }
    text += ']';
  }
  return text + "],\n";
}

std::string List(const std::string& name, const std::vector<Member>& members) {
  std::string text = "const " + name + " = [\n";
  for (const Member& member : members) {
    text += Entry(member);
  }
  return text + "];\n";
}

}  // namespace

std::string NodeOutput(const Header& header) {
  std::string text = "const LOADER = '" + header.loaderName +
                     "';\nconst INTERFACE_VERSION = " + std::to_string(header.interfaceVersion) +
                     ";\n\n// [name, result, parameters]\n" + List("TABLE", header.table) +
                     "\n// The same; a field has no parameters.\n" +
                     List("COMPONENT", header.component) + "\nconst CONSTANTS = {\n";
  for (const Enumeration& enumeration : header.enumerations) {
    for (const Constant& constant : enumeration.constants) {
      text += "  " + constant.name + ": " + std::to_string(constant.value) + ",\n";
    }
  }
  for (const Constant& constant : header.numbers) {
    text += "  " + constant.name + ": " + std::to_string(constant.value) + ",\n";
  }
  return text + "};\n";
}

}  // namespace Bindings
