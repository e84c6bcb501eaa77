#include "model/env_value.h"

#include <cmath>

namespace Tav {

bool NearlyEqual(double a, double b) {
  constexpr double kSmallestNormalFloat = 1.1754943508222875e-38;
  constexpr double kRelativeTolerance = 1e-5;
  const double difference = std::fabs(a - b);
  if (difference < kSmallestNormalFloat) {
    return true;
  }
  const double larger = std::fabs(b) > std::fabs(a) ? std::fabs(b) : std::fabs(a);
  return difference / larger <= kRelativeTolerance;
}

}  // namespace Tav
