#include "property.h"

#include <cstdio>

namespace DocumentEditor {

std::string JsonText(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      quoted += escape;
      continue;
    }
    if (c == '"' || c == '\\') {
      quoted += '\\';
    }
    quoted += c;
  }
  return quoted += '"';
}

// 17 digits identify every double.
std::string JsonText(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", number);
  return text;
}

std::string JsonText(const Property& property) {
  const auto* text = std::get_if<std::string>(&property.value);
  return text != nullptr ? JsonText(std::string_view(*text))
                         : JsonText(std::get<double>(property.value));
}

std::string JsonText(std::span<const Property> properties) {
  std::string text = "{";
  for (const Property& property : properties) {
    text += (text.size() > 1 ? ", " : "") + JsonText(std::string_view(property.name)) + ": " +
            JsonText(property);
  }
  return text += '}';
}

}  // namespace DocumentEditor
