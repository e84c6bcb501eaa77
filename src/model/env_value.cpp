#include "model/env_value.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "util/json.h"

namespace Tav {

EnvValue ToEnvValue(const json_t* value) {
  if (json_is_string(value)) {
    return EnvValue::String(std::string(JsonStringView(value)));
  }
  return json_is_number(value) ? EnvValue::Number(json_number_value(value)) : EnvValue();
}

bool EqualsJson(const EnvValue& value, const json_t* json) {
  if (value.type == EnvType::String) {
    return json_is_string(json) && JsonStringView(json) == value.text;
  }
  return json_is_real(json) && NearlyEqual(json_real_value(json), value.number);
}

bool NearlyEqual(double a, double b) {
  constexpr double kMinNormalFloat = std::numeric_limits<float>::min();
  constexpr double kRelativeTolerance = 1e-5;
  const double difference = std::fabs(a - b);
  return difference < kMinNormalFloat ||
         difference / std::max(std::fabs(a), std::fabs(b)) <= kRelativeTolerance;
}

}  // namespace Tav
