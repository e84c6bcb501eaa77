// Waits for what another thread or process does.
#pragma once

#include <cstdint>

#include "platform/clock.h"
#include "platform/thread.h"

namespace Tav::Testing {

// Whether the condition holds within a minute.
template <typename Condition>
bool Eventually(Condition condition) {
  const int64_t end = Platform::MonotonicMilliseconds() + 60000;
  while (!condition()) {
    if (Platform::MonotonicMilliseconds() >= end) {
      return false;
    }
    Platform::SleepMilliseconds(5);
  }
  return true;
}

}  // namespace Tav::Testing
