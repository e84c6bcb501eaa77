// The numbers that the test-access object's operations return.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace Tav {

inline constexpr int32_t kFailed = -1;
inline constexpr int32_t kNo = 0;
inline constexpr int32_t kYes = 1;

inline int32_t YesOrNo(bool yes) {
  return yes ? kYes : kNo;
}

inline int32_t CountResult(size_t count) {
  constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
  return count < static_cast<size_t>(kMost) ? static_cast<int32_t>(count) : kMost;
}

}  // namespace Tav
