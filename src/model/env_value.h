// The typed value of the product environment, the session environment, a setting and a stored key.
#pragma once

#include <jansson.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace Tav {

enum class EnvType : uint32_t { None = 0, String = 1, Number = 2 };

struct EnvValue {
  EnvType type = EnvType::None;
  std::string text;     // empty unless the type is String
  double number = 0.0;  // 0.0 unless the type is Number

  static EnvValue String(std::string text) { return {EnvType::String, std::move(text), 0.0}; }
  static EnvValue Number(double number) { return {EnvType::Number, {}, number}; }
};

// Ordered byte-wise by key.
using EnvMap = std::map<std::string, EnvValue, std::less<>>;

// A JSON string or number; anything else, and null, becomes a value without type.
EnvValue ToEnvValue(const json_t* value);

// Strings must be equal byte for byte, numbers nearly. A JSON integer equals nothing: the library
// writes reals only.
bool EqualsJson(const EnvValue& value, const json_t* json);

// The difference is below the smallest normal float, or at most 1e-5 of the larger magnitude.
bool NearlyEqual(double a, double b);

}  // namespace Tav
