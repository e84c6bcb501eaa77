// Writes JSON text without building values of it first: most of the time that a record takes.
//
// The text is compact and, byte for byte, what jansson writes for the same values, so that a record
// does not depend on the path that its events have taken.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "util/json.h"

namespace Tav {

// A text that grows at its end. What is appended may throw std::bad_alloc. Used by one thread.
class JsonText {
 public:
  // With room for so many bytes.
  explicit JsonText(size_t capacity);

  std::string_view View() const { return {bytes_.get(), size_}; }
  size_t Size() const { return size_; }
  // Removes what follows the first `size` bytes.
  void CutTo(size_t size) { size_ = size; }

  // Bytes as they are.
  void Add(char byte) { *Room(1) = byte; }
  void Add(std::string_view bytes);
  // The separator, and the name of a member with its colon.
  void AddName(char separator, std::string_view name);
  // A string with its quotes. Ill-formed UTF-8 is treated as by MakeJsonString.
  void AddString(std::string_view string);
  // `number` is finite.
  void AddReal(double number);
  // Not null.
  void AddValue(const json_t* value);

 private:
  char* Room(size_t size);
  void Grow(size_t size);
  void AddEscaped(std::string_view string);

  std::unique_ptr<char[]> bytes_;
  size_t size_ = 0;
  size_t capacity_;
};

}  // namespace Tav
