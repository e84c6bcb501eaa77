// Delegates for C#, bound by position.
#include "bindings/outputs.h"

namespace Bindings {
namespace {

std::string CSharpType(Type type) {
  switch (type) {
    case Type::Void:
      return "void";
    case Type::Size:
      return "UIntPtr";
    case Type::Int32:
      return "int";
    case Type::UInt32:
      return "uint";
    case Type::UInt64:
      return "ulong";
    case Type::Double:
      return "double";
    case Type::Bool:
      return "byte";
    default:
      return "IntPtr";
  }
}

// Arrays are pinned for the call.
std::string ParameterText(const Parameter& parameter) {
  const bool isBytes = parameter.type == Type::Text || parameter.type == Type::Buffer;
  // "event" is a keyword.
  return (isBytes ? "byte[]" : CSharpType(parameter.type)) + " @" + parameter.name;
}

std::string DelegateText(const Member& member) {
  std::string text =
      "        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]\n"
      "        internal delegate " +
      CSharpType(member.type) + ' ' + member.name + "Function(";
  for (const Parameter& parameter : member.parameters) {
    text += (text.ends_with('(') ? "" : ", ") + ParameterText(parameter);
  }
  return text + ");\n        internal readonly " + member.name + "Function " + member.name + ";\n";
}

std::string ClassText(const std::string& name, const std::vector<Member>& members) {
  std::string text = "    internal sealed class " + name + "\n    {\n";
  std::string binding;
  for (std::size_t index = 0; index < members.size(); ++index) {
    const Member& member = members[index];
    if (member.isFunction) {
      text += DelegateText(member);
      binding += "            " + member.name + " = Binding.Function<" + member.name +
                 "Function>(address, " + std::to_string(index) + ");\n";
    }
  }
  return text + "\n        internal " + name + "(IntPtr address)\n        {\n" + binding +
         "        }\n    }\n";
}

std::string ConstantTexts(const std::vector<Constant>& constants) {
  std::string text;
  for (const Constant& constant : constants) {
    // Without "TAV_".
    text += "        public const " + std::string(constant.value > 0x7FFFFFFF ? "uint " : "int ") +
            constant.name.substr(4) + " = " + std::to_string(constant.value) + ";\n";
  }
  return text;
}

}  // namespace

std::string CSharpOutput(const Header& header) {
  std::string text =
      "    internal static class Declared\n    {\n        internal const string Loader = \"" +
      header.loaderName + "\";\n        internal const int InterfaceVersion = " +
      std::to_string(header.interfaceVersion) + ";\n    }\n\n" +
      "    public static class Constants\n    {\n";
  for (const Enumeration& enumeration : header.enumerations) {
    text += ConstantTexts(enumeration.constants);
  }
  return text + ConstantTexts(header.numbers) + "    }\n\n" + ClassText("Table", header.table) +
         '\n' + ClassText("ComponentRecord", header.component);
}

}  // namespace Bindings
