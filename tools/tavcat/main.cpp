// The program.

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "command_line/program.h"
#include "tavcat/command.h"

int RunProgram(const std::vector<std::string>& arguments) {
  const auto writeTo = [](std::FILE* stream) {
    return [stream](std::string_view text) { std::fwrite(text.data(), 1, text.size(), stream); };
  };
  try {
    const int status = Tavcat::RunCommand(arguments, writeTo(stdout), writeTo(stderr));
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
      return status;
    }
    std::fputs("tavcat: cannot write the output\n", stderr);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "tavcat: %s\n", failure.what());
  }
  return Tavcat::kExitUsage;
}
