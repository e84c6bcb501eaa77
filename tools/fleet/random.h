// Random numbers that depend on the seed, the client and the purpose only, not on the order in
// which they are drawn: a client's day is the same in every run and at every step size.
#pragma once

#include <cstdint>

namespace Fleet {

class Draw {
 public:
  Draw(uint64_t seed, uint64_t client, uint64_t purpose)
      : state_(Mix(Mix(Mix(seed) ^ client) ^ purpose)) {}

  // 0 to bound - 1, evenly but for a bias of bound / 2^32. The bound is below 2^31.
  int64_t Below(int64_t bound) {
    state_ += kStep;
    return static_cast<int64_t>(((Mix(state_) >> 32U) * static_cast<uint64_t>(bound)) >> 32U);
  }
  // -bound to bound.
  int64_t Around(int64_t bound) { return Below(2 * bound + 1) - bound; }
  // Greater than 0, at most 1.
  double Fraction() { return static_cast<double>(Below(1 << 30) + 1) / (1 << 30); }

 private:
  static constexpr uint64_t kStep = 0x9E3779B97F4A7C15U;

  // The output function of the generator SplitMix64.
  static constexpr uint64_t Mix(uint64_t value) {
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31U);
  }

  uint64_t state_;
};

}  // namespace Fleet
