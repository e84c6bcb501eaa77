// A process that the soak test starts and ends, and what it takes.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace Tav::Testing {

class Process {
 public:
  Process() = default;
  Process(const std::vector<std::string>& command, const std::string& output) {
    number_ = fork();
    if (number_ == 0) {
      const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
      dup2(file, STDOUT_FILENO);
      dup2(file, STDERR_FILENO);
      std::vector<char*> arguments;
      for (const std::string& text : command) {
        arguments.push_back(const_cast<char*>(text.c_str()));
      }
      arguments.push_back(nullptr);
      execv(arguments[0], arguments.data());
      _exit(127);
    }
  }

  pid_t Number() const { return number_; }
  bool HasEnded() const {
    siginfo_t info = {};
    waitid(P_PID, static_cast<id_t>(number_), &info, WEXITED | WNOHANG | WNOWAIT);
    return info.si_pid != 0;
  }
  // Returns the exit status, or minus the signal that ended the process.
  int End(int signal) {
    kill(number_, signal);
    return Wait();
  }
  int Wait() {
    int status = 0;
    waitpid(std::exchange(number_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  pid_t number_ = -1;
};

inline std::int64_t EntriesOf(const std::filesystem::path& folder) {
  return std::distance(std::filesystem::directory_iterator(folder),
                       std::filesystem::directory_iterator());
}

struct Footprint {
  std::int64_t memory = 0;
  std::int64_t files = 0;
  std::int64_t threads = 0;

  explicit Footprint(pid_t process) {
    const std::filesystem::path folder = "/proc/" + std::to_string(process);
    std::int64_t whole = 0;
    std::ifstream(folder / "statm") >> whole >> memory;
    memory *= sysconf(_SC_PAGESIZE);
    files = EntriesOf(folder / "fd");
    threads = EntriesOf(folder / "task");
  }
  Footprint() = default;

  void Raise(const Footprint& other) {
    memory = std::max(memory, other.memory);
    files = std::max(files, other.files);
    threads = std::max(threads, other.threads);
  }
};

}  // namespace Tav::Testing
