// The command line of the fleet.
#pragma once

#include <string>
#include <vector>

#include "fleet/scenario.h"

namespace Fleet {

struct Options {
  std::vector<Scenario> scenarios;  // to simulate
  std::string csvFile;
  std::string plotFolder;
};

// Reads the arguments. When there is nothing to simulate (an error, or help was asked for), prints
// what there is to say and returns false, with the exit status.
bool ParseOptions(int argc, const char* const* argv, Options& options, int& status);

}  // namespace Fleet
