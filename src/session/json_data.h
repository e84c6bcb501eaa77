// Builds one JSON tree from the top down, container by container, and estimates the characters that
// its compact text will take.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "util/json.h"

namespace Tav {

// The root is an object. Values go into the current container; opening a container makes it the
// current one, and MoveUp returns to the enclosing one. At most four enclosing containers are kept.
// A value that cannot be added is logged and left out, see Complete. Used by one thread.
//
// Every adding operation returns the size estimate of what it added, 0 when nothing was added.
class JsonData {
 public:
  JsonData();
  ~JsonData();
  JsonData(const JsonData&) = delete;
  JsonData& operator=(const JsonData&) = delete;

  // `name` is empty inside an array and non-empty inside an object.
  size_t OpenObject(std::string_view name);
  size_t OpenArray(std::string_view name);
  size_t AddString(std::string_view name, std::string_view text);
  size_t AddInteger(std::string_view name, int64_t number);
  size_t AddReal(std::string_view name, double number);
  size_t AddValue(std::string_view name, JsonPtr value);

  // Adds `value` and, with `becomesCurrent`, opens it.
  size_t AddObject(std::string_view name, JsonPtr value, bool becomesCurrent);

  // Closes the current container.
  void MoveUp();

  // Whether nothing was left out because memory ran out.
  bool Complete() const { return complete_; }

  // Borrowed.
  const json_t* Root() const { return root_.Get(); }

 private:
  static constexpr size_t kMaxDepth = 4;

  bool Insert(std::string_view name, JsonPtr value);

  JsonPtr root_;
  json_t* current_;
  json_t* enclosing_[kMaxDepth] = {};
  size_t depth_ = 0;
  bool complete_ = true;
};

}  // namespace Tav
