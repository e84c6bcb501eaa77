#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>

#include "command_line/program.h"
#include "platform/windows/wide_text.h"

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

// NOLINTNEXTLINE(misc-use-internal-linkage): the run-time calls it
int wmain(int argc, wchar_t** argv) {
  const Utf8Console console;
  _setmode(_fileno(stdout), _O_BINARY);
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) {
    arguments.push_back(Tav::Platform::ToUtf8(argv[i]));
  }
  return RunProgram(arguments);
}
