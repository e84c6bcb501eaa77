// What the rounds come to: medians, ratios to the floor, the budget; and a table for people.
#pragma once

#include <string>

#include "bench/results.h"

namespace Bench {

// Adds "median" and "ratio" beside the rounds of each scenario and "budget" to the results, and
// prints the table. True when every scenario was measured and no event was lost or doubled; whether
// the budget is met is said, but machines differ.
bool Report(Results& results, const std::string& remark);

}  // namespace Bench
