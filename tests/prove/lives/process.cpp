#include "prove/lives/process.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace Tav::Testing {

namespace {

constexpr int kDied = 77;  // an exit status
constexpr unsigned kMaxSeconds = 120;

}  // namespace

#ifdef _WIN32

namespace {

constexpr char kChild[] = "--child";

Ending EndingOf(DWORD waited, DWORD status) {
  if (waited != WAIT_OBJECT_0) {
    return Ending::Hung;
  }
  if (status == 0 || status == kDied) {
    return status == 0 ? Ending::Returned : Ending::Died;
  }
  std::printf("a child ends with status %lx\n", status);
  return Ending::Failed;
}

}  // namespace

Ending RunChild(const std::vector<std::string>& arguments) {
  char program[MAX_PATH] = "";
  GetModuleFileNameA(nullptr, program, MAX_PATH);
  std::string command = std::string("\"") + program + "\" " + kChild;
  for (const std::string& argument : arguments) {
    command += ' ' + argument;
  }
  STARTUPINFOA start{};
  start.cb = sizeof start;
  PROCESS_INFORMATION process{};
  if (!CreateProcessA(program, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                      &process)) {
    std::printf("a child cannot be started: error %lu\n", GetLastError());
    return Ending::Failed;
  }
  const DWORD waited = WaitForSingleObject(process.hProcess, kMaxSeconds * 1000);
  if (waited != WAIT_OBJECT_0) {
    TerminateProcess(process.hProcess, 1);
    WaitForSingleObject(process.hProcess, INFINITE);
  }
  DWORD status = 1;
  GetExitCodeProcess(process.hProcess, &status);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return EndingOf(waited, status);
}

void Die() {
  TerminateProcess(GetCurrentProcess(), kDied);
  std::abort();
}

int RunAsChild(int argc, char** argv) {
  if (argc < 2 || std::string(argv[1]) != kChild) {
    return -1;
  }
  const int status = ChildMain({argv + 2, argv + argc});
  std::fflush(nullptr);
  // Wine 8 crashes when a process returns from main while one of its threads ends.
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(status));
  return status;
}

#else

// Writes the counters of a build with TAV_COVERAGE, which _exit leaves out. Null in other builds.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the compiler's name
extern "C" [[gnu::weak]] void __gcov_dump();

namespace {

[[noreturn]] void EndAtOnce(int status) {
  if (__gcov_dump != nullptr) {
    __gcov_dump();
  }
  _exit(status);
}

}  // namespace

// A copy of this process, which is faster than a new one.
Ending RunChild(const std::vector<std::string>& arguments) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    alarm(kMaxSeconds);
    const int status = ChildMain(arguments);
    std::fflush(nullptr);
    EndAtOnce(status);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) {
    return Ending::Failed;
  }
  if (WIFSIGNALED(status)) {
    std::printf("a child ends by signal %d\n", WTERMSIG(status));
    return WTERMSIG(status) == SIGALRM ? Ending::Hung : Ending::Failed;
  }
  switch (WEXITSTATUS(status)) {
    case 0:
      return Ending::Returned;
    case kDied:
      return Ending::Died;
    default:
      std::printf("a child ends with status %d\n", WEXITSTATUS(status));
      return Ending::Failed;
  }
}

void Die() {
  EndAtOnce(kDied);
}

int RunAsChild(int, char**) {
  return -1;
}

#endif

}  // namespace Tav::Testing
