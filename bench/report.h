// Evaluates the results file: medians, ratios to the floor, the budget, and a table for people.
#pragma once

#include <string>

#include "bench/results.h"

namespace Bench {

// Adds "median" and "ratio" to each scenario and "budget" to the results, and prints the table.
// True if every scenario was measured and no event was lost or doubled. Whether the budget is met
// does not matter, because machines differ.
bool Report(Results& results, const std::string& remark);

// Sets "median" of each scenario of a section: of each number its median over the rounds, but of
// maxima and of counts of lost, doubled or unknown events the largest.
void AddMedians(json_t* section);

// Sets "ratio" of each host-path scenario: each time, and the rate, of events divided by that of
// the floor.
void AddRatios(json_t* hostPath);

// The member at the end of the path; null if there is none.
template <typename... Keys>
json_t* Find(json_t* value, Keys... keys) {
  ((value = json_object_get(value, keys)), ...);
  return value;
}

// The number at the end of the path; 0 if there is none.
template <typename... Keys>
double Number(json_t* value, Keys... keys) {
  return json_number_value(Find(value, keys...));
}

}  // namespace Bench
