#include "reporter.h"

#include <utility>

namespace DocumentEditor {

Reporter::Reporter(const TavEntryTable& tav, std::string thread, int firstSerial)
    : tav_(tav), thread_(std::move(thread)), nextSerial_(firstSerial) {}

void Reporter::Report(const char* name, std::initializer_list<Property> properties) {
  HandedOverEvent& noted = events_.emplace_back(HandedOverEvent{name, properties});
  noted.properties.emplace_back("Seq", nextSerial_++);

  TavEvent_s* const event = tav_.NewEvent(name);
  for (const Property& property : noted.properties) {
    if (const auto* text = std::get_if<std::string>(&property.value)) {
      tav_.AddEventProperty(event, property.name.c_str(), text->c_str());
    } else {
      tav_.AddNumericEventProperty(event, property.name.c_str(), std::get<double>(property.value));
    }
  }
  tav_.LogEvent(event);  // consumes the event
}

}  // namespace DocumentEditor
