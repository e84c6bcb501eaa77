// The same numbers in each run and on each system.
#pragma once

#include <cstdint>
#include <random>

namespace Tav::Testing {

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}

  // 0 to bound - 1; the bound is at most 2^32.
  int64_t Below(int64_t bound) { return static_cast<int64_t>(engine_()) % bound; }
  bool OneIn(int64_t count) { return Below(count) == 0; }

 private:
  std::mt19937 engine_;
};

}  // namespace Tav::Testing
