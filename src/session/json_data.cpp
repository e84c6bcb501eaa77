#include "session/json_data.h"

#include <cmath>
#include <utility>

#include "model/event_size.h"
#include "util/logger.h"

namespace Tav {

JsonData::JsonData() : root_(json_object()), current_(root_.Get()) {}

JsonData::~JsonData() {
  if (depth_ != 0) {
    LogError("Forgot to call MoveUp after adding an array or map");
  }
}

size_t JsonData::OpenObject(std::string_view name) {
  return AddObject(name, JsonPtr(json_object()), true);
}

size_t JsonData::OpenArray(std::string_view name) {
  return AddObject(name, JsonPtr(json_array()), true);
}

size_t JsonData::AddString(std::string_view name, std::string_view text) {
  return AddObject(name, MakeJsonString(text), false) == 0 ? 0 : StringPairSize(name, text);
}

size_t JsonData::AddInteger(std::string_view name, int64_t number) {
  return AddObject(name, JsonPtr(json_integer(number)), false) == 0 ? 0
                                                                    : IntegerPairSize(name, number);
}

size_t JsonData::AddReal(std::string_view name, double number) {
  if (!std::isfinite(number)) {
    LogWarning("No json object to add");
    return 0;
  }
  return AddObject(name, JsonPtr(json_real(number)), false) == 0 ? 0 : RealPairSize(name, number);
}

size_t JsonData::AddValue(std::string_view name, JsonPtr value) {
  return AddObject(name, std::move(value), false);
}

size_t JsonData::AddObject(std::string_view name, JsonPtr value, bool becomesCurrent) {
  if (!value) {
    LogWarning("No json object to add");
    complete_ = false;
    return 0;
  }
  json_t* const added = value.Get();
  const size_t estimate = EstimateAdded(name, added);
  if (!Insert(name, std::move(value))) {
    return 0;
  }
  if (becomesCurrent) {
    if (depth_ < kMaxDepth) {
      enclosing_[depth_++] = current_;
      current_ = added;
    } else {
      LogError("Json stack overflow");
    }
  }
  return estimate;
}

bool JsonData::Insert(std::string_view name, JsonPtr value) {
  if (json_is_array(current_)) {
    if (!name.empty()) {
      LogError("Cannot add named objects to json array");
    }
    if (json_array_append_new(current_, value.Release()) != 0) {
      LogError("Failed to add object to json array");
      complete_ = false;
      return false;
    }
    return true;
  }
  if (json_is_object(current_)) {
    if (name.empty()) {
      LogError("Object must have a name to put in a map");
    }
    if (name.empty() || !SetJsonMember(current_, name, std::move(value))) {
      LogWarning("Failed to add object to json map");
      complete_ = complete_ && name.empty();
      return false;
    }
    return true;
  }
  LogError("Can only add json object to an array or map");
  complete_ = false;  // there was no memory for the root
  return false;
}

void JsonData::MoveUp() {
  if (depth_ == 0) {
    LogError("Cannot move up json object");
    return;
  }
  current_ = enclosing_[--depth_];
}

}  // namespace Tav
