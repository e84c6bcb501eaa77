// A typed value of the product environment, the session environment, a setting or a stored key.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace Tav {

enum class EnvType : uint32_t { None = 0, String = 1, Number = 2 };

struct EnvValue {
  EnvType type = EnvType::None;
  std::string strData;   // meaningful for strings, else empty
  double numData = 0.0;  // meaningful for numbers, else 0.0

  static EnvValue String(std::string text) { return {EnvType::String, std::move(text), 0.0}; }
  static EnvValue Number(double number) { return {EnvType::Number, {}, number}; }
};

// Ordered byte-wise by key.
using EnvMap = std::map<std::string, EnvValue, std::less<>>;

// Equal within the smallest normal float, or within 1e-5 of the larger magnitude.
bool NearlyEqual(double a, double b);

}  // namespace Tav
