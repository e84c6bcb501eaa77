// A program in a process of its own.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace Prove {

class ChildProcess {
 public:
  // Starts the program. `environment` ("NAME=value") is added to that of this process. What it
  // prints goes to the file `output`: a pipe could be held open by what the program leaves behind.
  ChildProcess(const std::vector<std::string>& command,
               const std::vector<std::string>& environment,
               const std::string& output);
  // Kills the program if it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Waits for the end, at most for the given time. The exit code, or 128 and the number of the
  // signal; nothing if the program still runs. 127 if it could not be started.
  std::optional<int> Wait(std::chrono::milliseconds time);

  pid_t Id() const { return process_; }
  // Not after Wait has returned a status.
  void Signal(int signal) const;

 private:
  pid_t process_ = -1;
  std::optional<int> status_;
};

}  // namespace Prove
