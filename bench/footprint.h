// The memory of this process.
#pragma once

namespace Bench {

// Bytes.
struct Footprint {
  double workingSet = 0;
  double peakWorkingSet = 0;  // since the process began
};

// Throws std::runtime_error if the system does not tell.
Footprint MeasureFootprint();

// Waits before it measures, so that the library's session thread becomes idle.
Footprint MeasureIdleFootprint();

}  // namespace Bench
