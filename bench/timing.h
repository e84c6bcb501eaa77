// Time in processor ticks, and percentiles of measured times.
#pragma once

#if defined(_MSC_VER)
#include <intrin.h>
#else
#include <x86intrin.h>
#endif

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Bench {

using Ticks = uint64_t;

// The time-stamp counter: QueryPerformanceCounter's steps of 100 ns are too coarse for a single
// event. The fences keep the processor from moving measured work past either end.
inline Ticks ReadTicks() {
  _mm_lfence();
  const Ticks ticks = __rdtsc();
  _mm_lfence();
  return ticks;
}

class Timing {
 public:
  // Calibrates the counter against QueryPerformanceCounter for a fifth of a second, and measures
  // its overhead. The counter must have a constant rate and be equal on all processors (invariant
  // TSC).
  Timing();

  double Seconds(Ticks ticks) const { return static_cast<double>(ticks) / ticksPerSecond_; }
  double Microseconds(Ticks ticks) const { return Seconds(ticks) * 1e6; }
  double TicksPerSecond() const { return ticksPerSecond_; }
  // The overhead in each measured time; it is not subtracted.
  double OverheadMicroseconds() const { return overheadMicroseconds_; }

 private:
  double ticksPerSecond_ = 0;
  double overheadMicroseconds_ = 0;
};

// Microseconds; percentiles by nearest rank.
struct Percentiles {
  size_t samples = 0;
  double mean = 0;
  double p50 = 0;
  double p99 = 0;
  double p999 = 0;
  double max = 0;
};

// Sorts `samples`, which must not be empty.
Percentiles Summarise(const Timing& timing, std::vector<Ticks>& samples);

}  // namespace Bench
