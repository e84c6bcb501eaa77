// The seeds of the properties: a few for ctest, many for the campaign.
#pragma once

#include <algorithm>
#include <cstdlib>

namespace Tav::Testing {

inline unsigned SeedCount() {
  constexpr unsigned kShortForm = 3;
  const char* const count = std::getenv("TAV_TIME_SEEDS");
  return count == nullptr ? kShortForm : static_cast<unsigned>(std::max(std::atoi(count), 1));
}

}  // namespace Tav::Testing
