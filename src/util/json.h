// Ownership of JSON values: the only file that counts jansson's references. Borrowed json_t
// pointers are never kept.
#pragma once

#include <jansson.h>

#include <string_view>
#include <utility>

namespace Tav {

// Owns one reference to a JSON value, or none.
class JsonPtr {
 public:
  JsonPtr() = default;
  // Takes over a new reference, such as the result of json_object().
  explicit JsonPtr(json_t* owned) : value_(owned) {}
  // Adds a reference to a value that has another owner.
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
  // Passes the reference to the caller, for functions that steal one.
  json_t* Release() { return std::exchange(value_, nullptr); }
  void Reset(json_t* owned = nullptr) {
    json_decref(value_);
    value_ = owned;
  }

 private:
  json_t* value_ = nullptr;
};

// A JSON string of `text`. JSON rejects a few ill-formed UTF-8 sequences that the library accepts
// from hosts; such text is taken as Latin-1, with a warning. Null if memory runs out, or throws
// std::bad_alloc.
JsonPtr MakeJsonString(std::string_view text);

// Sets `object`[`key`] = `value`. The key is treated like the text above. False without a value or
// if memory runs out, or throws std::bad_alloc.
bool SetJsonMember(json_t* object, std::string_view key, JsonPtr value);

// The text of a JSON string, valid as long as the value; empty for any other value.
std::string_view JsonStringView(const json_t* value);

}  // namespace Tav
