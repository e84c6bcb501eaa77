// Arithmetic over the rounds of the results file.
#pragma once

#include "bench/results.h"

namespace Bench {

// The member at the end of the path; null when there is none.
template <typename... Keys>
json_t* Find(json_t* value, Keys... keys) {
  ((value = json_object_get(value, keys)), ...);
  return value;
}

// The number at the end of the path; 0 when there is none.
template <typename... Keys>
double Number(json_t* value, Keys... keys) {
  return json_number_value(Find(value, keys...));
}

// Sets "median" of each scenario of a section: of each number its median over the rounds, but the
// largest of what must not be averaged away: maxima, and counts of events lost, doubled or unknown.
void AddMedians(json_t* section);

// Sets "ratio" of each host-path scenario: each time, and the rate, of events over that of the
// floor.
void AddRatios(json_t* hostPath);

}  // namespace Bench
