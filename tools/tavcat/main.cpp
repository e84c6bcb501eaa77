// The program: converts arguments and output between the system's encoding and UTF-8.

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "tavcat/command.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "platform/windows/wide_text.h"
#endif

namespace {

int Run(const std::vector<std::string>& arguments) {
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

}  // namespace

#ifdef _WIN32

namespace {

// Sets the console to UTF-8 while this object exists.
class Utf8Console {
 public:
  Utf8Console() : before_(GetConsoleOutputCP()) { SetConsoleOutputCP(CP_UTF8); }
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;
  ~Utf8Console() {
    if (before_ != 0) {
      SetConsoleOutputCP(before_);
    }
  }

 private:
  const UINT before_;
};

}  // namespace

int wmain(int argc, wchar_t** argv) {
  const Utf8Console console;
  _setmode(_fileno(stdout), _O_BINARY);
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) {
    arguments.push_back(Tav::Platform::ToUtf8(argv[i]));
  }
  return Run(arguments);
}

#else

int main(int argc, char** argv) {
  return Run(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}

#endif
