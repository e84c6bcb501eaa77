// Where the library ends and the host begins.
#pragma once

#include <utility>

#include "util/logger.h"

namespace Tav {

// Runs an entry point's body. No exception crosses into the host: what can be thrown is that memory
// ran out, and the call then has no effect beyond what it had done so far. Returns the body's
// result, or `fallback`.
template <typename Result, typename Body>
Result Boundary(Result fallback, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    LogError("Tav: Out of memory");
    return fallback;
  }
}

template <typename Body>
void Boundary(Body&& body) noexcept {
  try {
    std::forward<Body>(body)();
  } catch (...) {
    LogError("Tav: Out of memory");
  }
}

}  // namespace Tav
