#include "bench/results.h"

#include <cstdio>
#include <stdexcept>
#include <utility>

namespace Bench {

namespace {

constexpr char kFormat[] = "tav-bench";

}  // namespace

Results::Results(std::string path) : path_(std::move(path)) {
  std::FILE* const file = std::fopen(path_.c_str(), "rb");
  if (file == nullptr) {
    root_ = Pack("{s:s, s:i}", "format", kFormat, "version", kResultsVersion);
    return;
  }
  json_error_t error;
  root_.reset(json_loadf(file, 0, &error));
  std::fclose(file);
  const json_int_t version = json_integer_value(json_object_get(root_.get(), "version"));
  if (root_ == nullptr || version != kResultsVersion) {
    throw std::runtime_error(path_ + " has no results of this version");
  }
}

json_t* Results::Section(const char* name) {
  json_t* section = json_object_get(root_.get(), name);
  if (section == nullptr) {
    section = json_object();
    json_object_set_new(root_.get(), name, section);
  }
  return section;
}

void Results::AddRound(const char* section, const std::string& name, Json parameters, Json round) {
  json_t* const scenarios = Section(section);
  json_t* scenario = json_object_get(scenarios, name.c_str());
  if (scenario == nullptr) {
    scenario = json_object();
    json_object_set_new(scenarios, name.c_str(), scenario);
  }
  json_object_update(scenario, parameters.get());
  json_t* rounds = json_object_get(scenario, "rounds");
  if (rounds == nullptr) {
    rounds = json_array();
    json_object_set_new(scenario, "rounds", rounds);
  }
  json_array_append_new(rounds, round.release());
}

void Results::Update(const char* section, Json members) {
  json_object_update(Section(section), members.get());
}

void Results::Save() const {
  if (json_dump_file(root_.get(), path_.c_str(), JSON_INDENT(2) | JSON_REAL_PRECISION(6)) != 0) {
    throw std::runtime_error(path_ + ": cannot write");
  }
}

Json Describe(const Percentiles& times) {
  return Pack("{s:I, s:f, s:f, s:f, s:f, s:f}", "samples", Count(times.samples), "mean_us",
              times.mean, "p50_us", times.p50, "p99_us", times.p99, "p999_us", times.p999, "max_us",
              times.max);
}

}  // namespace Bench
