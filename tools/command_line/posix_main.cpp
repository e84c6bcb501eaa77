#include "command_line/program.h"

int main(int argc, char** argv) {
  return RunProgram(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
