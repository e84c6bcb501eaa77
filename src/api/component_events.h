// How the events of one component of a host are named and marked.
#pragma once

#include <string_view>

#include "api/arguments.h"

struct TavEvent_s;

namespace Tav {

// "<component>_<event>", cut to the longest name, between characters.
class ComponentEventName {
 public:
  ComponentEventName(std::string_view component, std::string_view event);

  std::string_view View() const { return {text_, size_}; }
  const char* CString() const { return text_; }

 private:
  void Append(std::string_view piece);

  char text_[kLongestName + 1];
  size_t size_ = 0;
  bool cut_ = false;
};

// Attributes the event to a component: it shares its record with no other component's events.
void SetComponent(TavEvent_s& event, std::string_view name, std::string_view version);

}  // namespace Tav
