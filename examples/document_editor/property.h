// Values that the editor passes to the library, and their JSON form in the report.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace DocumentEditor {

// A named text in UTF-8, or a named number.
struct Property {
  Property(std::string_view propertyName, std::string_view text)
      : name(propertyName), value(std::string(text)) {}
  Property(std::string_view propertyName, double number) : name(propertyName), value(number) {}
  Property(std::string_view propertyName, int number)
      : name(propertyName), value(static_cast<double>(number)) {}

  std::string name;
  std::variant<std::string, double> value;
};

// JSON: a string, a number that reads back as the same double, a property's value, an object.
std::string JsonText(std::string_view text);
std::string JsonText(double number);
std::string JsonText(const Property& property);
std::string JsonText(std::span<const Property> properties);

}  // namespace DocumentEditor
