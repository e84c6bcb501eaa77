// Checks a settings file against the settings that the library knows; docs/settings.md lists them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Gateway {

enum class Severity {
  Error,    // the library refuses the answer or the setting, or uses another value
  Warning,  // the library ignores it, or may use it differently than it looks
};

struct SettingsProblem {
  std::size_t line = 1;
  Severity severity = Severity::Error;
  std::string text;
};

// A setting that is a number, with its range.
struct NumberSetting {
  std::string_view name;
  double min;
  double max;
};

// The numbers with a range, and "disabled".
const std::vector<NumberSetting>& NumberSettings();

// What is wrong with the text, in order of its lines. Any thread.
std::vector<SettingsProblem> CheckSettings(std::string_view text);

bool HasErrors(const std::vector<SettingsProblem>& problems);

// [{"line":3,"severity":"error","text":"…"}]
std::string ProblemsJson(const std::vector<SettingsProblem>& problems);

}  // namespace Gateway
