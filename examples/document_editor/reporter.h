// How the editor's code reports an event: one call with the event's name and its properties.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tav/tav.h"

namespace DocumentEditor {

// A property of an event, or a value for the library: a text in UTF-8 or a number.
struct Property {
  Property(std::string_view propertyName, std::string_view text)
      : name(propertyName), value(std::string(text)) {}
  Property(std::string_view propertyName, double number) : name(propertyName), value(number) {}
  Property(std::string_view propertyName, int number)
      : name(propertyName), value(static_cast<double>(number)) {}

  std::string name;
  std::variant<std::string, double> value;
};

// An event as it was handed over to the library.
struct HandedOverEvent {
  std::string name;
  std::vector<Property> properties;
};

// Reports the events of one thread, each with a number of its own in the property "Seq", and
// remembers them, so that they can be compared with what arrives. An editor for users would do
// without the numbers and without the memory.
class Reporter {
 public:
  // The table is borrowed and its library must run while events are reported. Serial numbers count
  // up from `firstSerial`; the ranges of two reporters must not meet.
  Reporter(const TavEntryTable& tav, std::string thread, int firstSerial);
  Reporter(const Reporter&) = delete;
  Reporter& operator=(const Reporter&) = delete;

  // On the reporter's thread only; several reporters may do so at once. Does not block.
  void Report(const char* name, std::initializer_list<Property> properties);

  const std::string& Thread() const { return thread_; }
  // In the order in which they were handed over.
  const std::vector<HandedOverEvent>& Events() const { return events_; }

 private:
  const TavEntryTable& tav_;
  const std::string thread_;
  int nextSerial_;
  std::vector<HandedOverEvent> events_;
};

}  // namespace DocumentEditor
