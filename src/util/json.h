// Ownership over jansson's reference counts. json_decref stands only
// here; borrowed json_t pointers are never kept.
#pragma once

#include <jansson.h>

#include <string_view>
#include <utility>

namespace Tav {

// Owns one reference to a JSON value.
class JsonPtr {
 public:
  JsonPtr() = default;
  // Takes over the caller's reference (the result of a json_* constructor).
  explicit JsonPtr(json_t* owned) : value_(owned) {}
  // Takes a reference of its own to a value that somebody else owns.
  static JsonPtr Share(json_t* borrowed) { return JsonPtr(json_incref(borrowed)); }

  JsonPtr(JsonPtr&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
  JsonPtr& operator=(JsonPtr&& other) noexcept {
    if (this != &other) {
      Reset(std::exchange(other.value_, nullptr));
    }
    return *this;
  }
  JsonPtr(const JsonPtr&) = delete;
  JsonPtr& operator=(const JsonPtr&) = delete;
  ~JsonPtr() { json_decref(value_); }

  json_t* Get() const { return value_; }
  explicit operator bool() const { return value_ != nullptr; }
  // Gives the reference to the caller, for functions that steal one.
  json_t* Release() { return std::exchange(value_, nullptr); }
  void Reset(json_t* owned = nullptr) {
    json_decref(value_);
    value_ = owned;
  }

 private:
  json_t* value_ = nullptr;
};

// A JSON string of `text`. Text that JSON cannot carry (the library's own intake lets a few
// ill-formed UTF-8 sequences pass) is taken as Latin-1, with a warning, rather than lost. Null only
// when memory runs out.
JsonPtr MakeJsonString(std::string_view text);

// Sets `object`[`key`] = `value`, replacing an earlier member; the key is treated as the text
// above. False when there is no value or memory runs out.
bool SetJsonMember(json_t* object, std::string_view key, JsonPtr value);

// The text of a JSON string; empty for anything else. Valid as long as the value is.
std::string_view JsonStringView(const json_t* value);

}  // namespace Tav
