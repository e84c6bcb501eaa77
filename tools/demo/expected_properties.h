// The names and properties that the library gives to the entries of a host's reports.
#pragma once

#include <jansson.h>

#include <deque>
#include <string>
#include <vector>

namespace Demo {

// The last places or commands of a session.
using Breadcrumbs = std::deque<std::string>;

// A counter or a statistic.
struct Number {
  bool isCounter = false;
  std::vector<double> values;
};

// The text member `key`; empty if there is none.
std::string TextMember(const json_t* object, const char* key);

// The library's name for an event of a component.
std::string ComponentEventName(const std::string& component, const std::string& name);

void AddBreadcrumb(Breadcrumbs& breadcrumbs, const std::string& name);

// These add members to `object`. What is empty is left out.
void SetText(json_t* object, const char* key, const std::string& text);
void SetBreadcrumbs(json_t* object, const char* key, const Breadcrumbs& breadcrumbs);
void SetTrace(json_t* object, const json_t* trace);
void SetNumber(json_t* object, const std::string& name, const Number& number);

}  // namespace Demo
