// The command lines of the tools, which CLI11 parses. Included by the source file of a program's
// options only.
#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace CommandLine {

// Exit status of every tool for arguments that it does not accept.
inline constexpr int kExitUsage = 2;

// The rules of all tools: the last value of an option counts, a flag takes none.
inline void SetRules(CLI::App& app) {
  // The same options on every system; on Windows "/name" is a file.
  app.allow_windows_style_options(false);
  app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.set_help_flag("-h,--help", "show this text");
  app.get_formatter()->column_width(30);
}

// For options whose value must not be empty.
inline CLI::Validator NotEmpty() {
  return {[](const std::string& value) { return value.empty() ? "needs a value" : ""; }, "",
          "NotEmpty"};
}

enum class Parsed { Good, WantsHelp, Wrong };

// Parses the arguments, given without the program's name. Wrong: the reason is in `error`.
template <typename Arguments>
Parsed Parse(CLI::App& app, const Arguments& arguments, std::string& error) {
  // CLI11 expects them in reverse order.
  std::vector<std::string> reversed(arguments.begin(), arguments.end());
  std::ranges::reverse(reversed);
  try {
    app.parse(std::move(reversed));
    return Parsed::Good;
  } catch (const CLI::CallForHelp&) {
    return Parsed::WantsHelp;
  } catch (const CLI::ParseError& failure) {
    error = failure.what();
    return Parsed::Wrong;
  }
}

// For programs that need no more than that. Nothing if the program is to go on; otherwise its exit
// status, after it has shown its help, or why the arguments are wrong.
template <typename Arguments>
std::optional<int> EndAfterParsing(CLI::App& app,
                                   const std::string& program,
                                   const Arguments& arguments) {
  std::string error;
  switch (Parse(app, arguments, error)) {
    case Parsed::Good:
      return std::nullopt;
    case Parsed::WantsHelp:
      std::fputs(app.help(program, CLI::AppFormatMode::All).c_str(), stdout);
      return 0;
    case Parsed::Wrong:
      break;
  }
  std::fprintf(stderr, "%s: %s; see %s --help\n", program.c_str(), error.c_str(), program.c_str());
  return kExitUsage;
}

}  // namespace CommandLine
