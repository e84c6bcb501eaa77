#include "gateway/process.h"

#include <windows.h>

namespace Gateway {

// Windows has no such signal and no such limit.
void PrepareProcess() {}

bool HasColourTerminal() {
  HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  return GetConsoleMode(console, &mode) != 0 &&
         SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

}  // namespace Gateway
