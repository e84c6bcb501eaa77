#include "demo/expected_properties.h"

#include <algorithm>
#include <cmath>

#include "gateway/json_text.h"

namespace Demo {

using Gateway::JsonText;
using Gateway::TextOf;

namespace {

// How many places and how many commands of a session the library adds to an error.
constexpr std::size_t kMaxBreadcrumbs = 10;

}  // namespace

std::string TextMember(const json_t* object, const char* key) {
  return std::string(TextOf(json_object_get(object, key)));
}

void SetText(json_t* object, const char* key, const std::string& text) {
  if (!text.empty()) {
    json_object_set_new(object, key, JsonText(text).release());
  }
}

std::string ComponentEventName(const std::string& component, const std::string& name) {
  return component.empty() ? name : std::string(component).append("_").append(name);
}

void AddBreadcrumb(Breadcrumbs& breadcrumbs, const std::string& name) {
  breadcrumbs.push_back(name);
  if (breadcrumbs.size() > kMaxBreadcrumbs) {
    breadcrumbs.pop_front();
  }
}

void SetBreadcrumbs(json_t* object, const char* key, const Breadcrumbs& breadcrumbs) {
  if (breadcrumbs.empty()) {
    return;
  }
  json_t* list = json_array();
  for (const std::string& name : breadcrumbs) {
    json_array_append_new(list, JsonText(name).release());
  }
  json_object_set_new(object, key, list);
}

void SetTrace(json_t* object, const json_t* trace) {
  if (json_array_size(trace) == 0) {
    return;
  }
  json_t* list = json_array();
  for (std::size_t i = 0; i < json_array_size(trace); ++i) {
    const json_t* from = json_array_get(trace, i);
    json_t* item = json_object();
    SetText(item, "std-Loc", TextMember(from, "location"));
    SetText(item, "std-Lib", TextMember(from, "library"));
    SetText(item, "std-Meta", TextMember(from, "meta"));
    json_array_append_new(list, item);
  }
  json_object_set_new(object, "std-Trace", list);
}

void SetNumber(json_t* object, const std::string& name, const Number& number) {
  double sum = 0;
  for (const double value : number.values) {
    sum += value;
  }
  const auto set = [&](const char* suffix, double value) {
    json_object_set_new(object, (name + suffix).c_str(), json_real(value));
  };
  if (number.isCounter) {
    set("", sum);
    return;
  }
  const auto [min, max] = std::minmax_element(number.values.begin(), number.values.end());
  const auto count = static_cast<double>(number.values.size());
  set("sum", sum);
  set("count", count);
  set("max", *max);
  set("min", *min);
  set("average", std::round(sum / count * 1000) / 1000);
}

}  // namespace Demo
