#include "bench/timing.h"

#include <windows.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Bench {

namespace {

constexpr DWORD kCalibrationMilliseconds = 200;
constexpr int kOverheadSamples = 100001;

double CounterSeconds() {
  LARGE_INTEGER frequency;
  LARGE_INTEGER count;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&count);
  return static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}

Ticks MedianOverhead() {
  std::vector<Ticks> samples(kOverheadSamples);
  for (Ticks& sample : samples) {
    const Ticks start = ReadTicks();
    sample = ReadTicks() - start;
  }
  const auto middle = samples.begin() + kOverheadSamples / 2;
  std::nth_element(samples.begin(), middle, samples.end());
  return *middle;
}

}  // namespace

Timing::Timing() {
  const double startSeconds = CounterSeconds();
  const Ticks startTicks = ReadTicks();
  Sleep(kCalibrationMilliseconds);
  const double seconds = CounterSeconds() - startSeconds;
  ticksPerSecond_ = static_cast<double>(ReadTicks() - startTicks) / seconds;
  overheadMicroseconds_ = Microseconds(MedianOverhead());
}

Percentiles Summarise(const Timing& timing, std::vector<Ticks>& samples) {
  std::sort(samples.begin(), samples.end());
  const auto count = static_cast<double>(samples.size());
  const auto at = [&](double share) {
    const auto rank = static_cast<size_t>(std::ceil(share * count));
    return timing.Microseconds(samples[std::max<size_t>(rank, 1) - 1]);
  };
  const Ticks sum = std::accumulate(samples.begin(), samples.end(), Ticks{0});
  return {samples.size(), timing.Microseconds(sum) / count, at(0.5), at(0.99), at(0.999), at(1.0)};
}

}  // namespace Bench
