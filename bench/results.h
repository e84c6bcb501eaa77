// The results file: JSON to which each run of a scenario adds one round. docs/benchmarks.md
// describes it.
#pragma once

#include <jansson.h>

#include <memory>
#include <string>

#include "bench/timing.h"

namespace Bench {

struct JsonRelease {
  void operator()(json_t* value) const { json_decref(value); }
};
using Json = std::unique_ptr<json_t, JsonRelease>;

// Increased when a key changes its meaning.
inline constexpr int kResultsVersion = 2;

// Failures throw std::runtime_error.
class Results {
 public:
  // Reads the file if it exists.
  explicit Results(std::string path);

  json_t* Root() const { return root_.get(); }

  // Appends `round` to the rounds of the scenario `name` in `section`, and sets the scenario's
  // `parameters`.
  void AddRound(const char* section, const std::string& name, Json parameters, Json round);
  // Sets members of the top-level object `section`.
  void Update(const char* section, Json members);

  void Save() const;

 private:
  json_t* Section(const char* name);

  const std::string path_;
  Json root_;
};

// json_pack that throws instead of returning null.
template <typename... Arguments>
Json Pack(const char* format, Arguments... arguments) {
  Json packed(json_pack(format, arguments...));
  if (packed == nullptr) {
    throw std::bad_alloc();
  }
  return packed;
}

inline json_int_t Count(size_t count) {
  return static_cast<json_int_t>(count);
}

// {"samples", "mean_us", "p50_us", "p99_us", "p999_us", "max_us"}
Json Describe(const Percentiles& times);

}  // namespace Bench
