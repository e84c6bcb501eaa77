#include <algorithm>
#include <array>
#include <string_view>

#include "demo/comparison.h"
#include "gateway/json_text.h"

namespace Demo {
namespace {

using Gateway::DumpJson;
using Gateway::ForEachMember;
using Gateway::JsonPtr;
using Gateway::JsonText;
using Gateway::TextOf;

std::string TextMember(const json_t* object, const char* key) {
  return std::string(TextOf(json_object_get(object, key)));
}

void SetText(json_t* object, const char* key, const std::string& text) {
  json_object_set_new(object, key, JsonText(text).release());
}

// The name that records use for a category of AddTag.
std::string TagCategory(const std::string& number) {
  constexpr std::array kNames = {"Edition",         "Component", "Package", "LicensingModel",
                                 "DeploymentModel", "User",      "Test",    "Other"};
  const std::size_t index = number.size() == 1 ? static_cast<std::size_t>(number[0] - '1') : 9;
  return index < kNames.size() ? kNames[index] : "?";
}

// The header that each record must have.
class Header {
 public:
  explicit Header(const json_t* report);

  std::size_t ProductValues() const { return json_object_size(values_.get()) - 1; }
  // What is wrong with a record; empty if nothing is.
  std::string Problem(const json_t* record) const;

 private:
  void ReadSetting(const json_t* setting);
  std::string ProductProblem(const json_t* environment) const;

  JsonPtr plain_{json_object()};   // members that each record has
  JsonPtr values_{json_object()};  // of the product environment
  std::string qualifier_;
  std::string user_;
  std::string component_;
  std::string componentVersion_;
};

Header::Header(const json_t* report)
    : component_(TextMember(report, "component")),
      componentVersion_(TextMember(report, "component_version")) {
  json_t* const plain = plain_.get();
  json_object_set_new(plain, "pt", json_object());
  const json_t* settings = json_object_get(report, "settings");
  for (std::size_t i = 0; i < json_array_size(settings); ++i) {
    ReadSetting(json_array_get(settings, i));
  }
  SetText(plain, "pn", TextMember(report, "product"));
  SetText(plain, "pv",
          TextMember(report, "product_version") + (qualifier_.empty() ? "" : " - " + qualifier_));
  SetText(plain, "sv", TextMember(report, "library_version"));
  SetText(values_.get(), "std-FullVersion", TextMember(report, "full_version"));
}

void Header::ReadSetting(const json_t* setting) {
  const std::string call = TextMember(setting, "call");
  const std::string key = TextMember(setting, "key");
  const json_t* value = json_object_get(setting, "value");
  const std::string text(TextOf(value));
  json_t* const values = values_.get();
  if (call == "SetVersionQualifier") {
    qualifier_ = text;
  } else if (call == "SetUserIdentifier") {
    user_ = text;
  } else if (call == "SetCustomerIdentifier") {
    SetText(plain_.get(), "c", text);
  } else if (call == "SetProductContext") {
    SetText(plain_.get(), "px", text);
  } else if (call == "SetProductComponentName") {
    SetText(plain_.get(), "pc", text);
  } else if (call == "AddTag") {
    json_t* const tags = json_object_get(plain_.get(), "pt");
    const std::string category = TagCategory(key);
    if (json_object_get(tags, category.c_str()) == nullptr) {
      json_object_set_new(tags, category.c_str(), json_array());
    }
    json_array_append_new(json_object_get(tags, category.c_str()), JsonText(text).release());
  } else if (call == "AddProductInfo") {
    json_object_set_new(values, key.c_str(), json_deep_copy(value));
  } else if (call == "AddProductInfoMap") {
    ForEachMember(value, [&](std::string_view name, const json_t* member) {
      json_object_set_new(values, (key + '.' + std::string(name)).c_str(), json_deep_copy(member));
    });
  } else if (call == "AddProductInfoList") {
    for (std::size_t i = 0; i < json_array_size(value); ++i) {
      SetText(values, (key + ':' + std::string(TextOf(json_array_get(value, i)))).c_str(), "");
    }
  }
}

std::string Header::ProductProblem(const json_t* environment) const {
  std::string problem;
  std::size_t found = 0;
  ForEachMember(environment, [&](std::string_view key, const json_t* value) {
    const json_t* expected = json_object_getn(values_.get(), key.data(), key.size());
    if (expected != nullptr) {
      ++found;
    }
    const bool isReserved = key == "t" || key.starts_with("std-");
    if (expected != nullptr ? !IsSameJson(expected, value) : !isReserved) {
      problem = "product value " + std::string(key) + " is " + DumpJson(value);
    }
  });
  if (TextMember(environment, "std-Incremental") == "false" &&
      found != json_object_size(values_.get())) {
    problem = "the list of product values is not complete";
  }
  return problem;
}

std::string Header::Problem(const json_t* record) const {
  std::string problem;
  ForEachMember(plain_.get(), [&](std::string_view key, const json_t* value) {
    const json_t* arrived = json_object_getn(record, key.data(), key.size());
    if (!IsSameJson(value, arrived)) {
      problem = '"' + std::string(key) + "\" is not " + DumpJson(value);
    }
  });
  // The library sends a digest of the user's identifier, which cannot be compared.
  const std::string user = TextMember(record, "u");
  if (!user_.empty() && (user.size() != 32 || user.find(user_) != std::string::npos)) {
    problem = "\"u\" is not a digest of the user's identifier";
  }
  if (json_object_get(record, "can") != nullptr &&
      (TextMember(record, "can") != component_ || TextMember(record, "cav") != componentVersion_)) {
    problem = "the component is not " + component_ + ' ' + componentVersion_;
  }
  const json_t* environment = json_object_get(record, "pe");
  return problem.empty() && environment != nullptr ? ProductProblem(environment) : problem;
}

}  // namespace

HeaderCheck CheckHeaders(std::span<const json_t* const> reports, const json_t* records) {
  const Header header(reports.front());
  HeaderCheck check;
  check.productValues = header.ProductValues();
  check.isListMissing = std::any_of(reports.begin(), reports.end(), [](const json_t* report) {
    return json_integer_value(json_object_get(report, "run")) == 1;
  });
  for (std::size_t i = 0; i < json_array_size(records); ++i) {
    const json_t* record = json_object_get(json_array_get(records, i), "record");
    if (!json_is_object(record)) {
      continue;  // the gateway counts it as bad
    }
    const std::string problem = header.Problem(record);
    if (!problem.empty()) {
      ++check.altered;
      check.findings.push_back("record " + std::to_string(i + 1) + ": " + problem);
    }
    if (TextMember(json_object_get(record, "pe"), "std-Incremental") == "false") {
      check.isListMissing = false;
    }
  }
  if (check.isListMissing) {
    check.findings.emplace_back("no record lists all product values");
  }
  return check;
}

}  // namespace Demo
