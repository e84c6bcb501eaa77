// Medians and ratios of the rounds.
#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/report.h"

namespace Bench {

namespace {

bool TakesLargest(std::string_view key) {
  for (const std::string_view name :
       {"max_us", "peak_bytes", "lost", "doubled", "foreign", "bad_records"}) {
    if (key == name) {
      return true;
    }
  }
  return false;
}

double MedianOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t count = values.size();
  return count % 2 == 1 ? values[count / 2] : (values[count / 2 - 1] + values[count / 2]) / 2;
}

// The median of each number in objects of the same shape.
Json MedianObject(const std::vector<json_t*>& rounds) {
  Json median = Pack("{}");
  const char* key = nullptr;
  json_t* first = nullptr;
  json_object_foreach(rounds.front(), key, first) {
    std::vector<json_t*> members;
    std::vector<double> numbers;
    for (json_t* const round : rounds) {
      members.push_back(json_object_get(round, key));
      numbers.push_back(json_number_value(members.back()));
    }
    if (json_is_object(first)) {
      json_object_set_new(median.get(), key, MedianObject(members).release());
    } else {
      const double number = TakesLargest(key) ? *std::max_element(numbers.begin(), numbers.end())
                                              : MedianOf(std::move(numbers));
      json_object_set_new(median.get(), key, json_real(number));
    }
  }
  return median;
}

}  // namespace

void AddMedians(json_t* section) {
  const char* name = nullptr;
  json_t* scenario = nullptr;
  json_object_foreach(section, name, scenario) {
    std::vector<json_t*> rounds;
    size_t index = 0;
    json_t* round = nullptr;
    json_array_foreach(json_object_get(scenario, "rounds"), index, round) {
      rounds.push_back(round);
    }
    if (!rounds.empty()) {
      json_object_set_new(scenario, "median", MedianObject(rounds).release());
    }
  }
}

void AddRatios(json_t* hostPath) {
  const char* name = nullptr;
  json_t* scenario = nullptr;
  json_object_foreach(hostPath, name, scenario) {
    Json ratio = Pack("{}");
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(Find(scenario, "median", "event"), key, value) {
      const double floor = Number(scenario, "median", "floor", key);
      if (std::string_view(key) != "samples" && floor > 0) {
        json_object_set_new(ratio.get(), key, json_real(json_number_value(value) / floor));
      }
    }
    json_object_set_new(scenario, "ratio", ratio.release());
  }
}

}  // namespace Bench
