// Reads texts and values of a journal, which may be damaged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "util/json.h"

namespace Tavcat {

// The little-endian number at `offset`, which must be within `bytes` with all of its bytes.
template <typename Number>
Number At(std::string_view bytes, size_t offset) {
  std::make_unsigned_t<Number> number = 0;
  for (size_t i = sizeof number; i-- > 0;) {
    number = static_cast<std::make_unsigned_t<Number>>(
        (uint64_t{number} << 8) | static_cast<unsigned char>(bytes[offset + i]));
  }
  return static_cast<Number>(number);
}

// Reads the contents of an entry or of the run block. After the first fault, all functions return
// nothing.
class JournalParser {
 public:
  explicit JournalParser(std::string_view bytes) : rest_(bytes) {}

  bool Good() const { return good_; }
  size_t Left() const { return rest_.size(); }

  std::string_view Take(size_t count);
  std::string_view Text();
  // The members of an object; null after a fault.
  Tav::JsonPtr Object();

 private:
  unsigned Byte();
  void Members(json_t* container, int depth);
  Tav::JsonPtr Value(unsigned tag, int depth);

  std::string_view rest_;
  bool good_ = true;
};

}  // namespace Tavcat
