#include "prove/cells/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

namespace Prove {
namespace {

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

// The first setting of a name counts.
std::vector<std::string> WholeEnvironment(std::vector<std::string> environment) {
  for (char** entry = environ; *entry != nullptr; ++entry) {
    environment.emplace_back(*entry);
  }
  return environment;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const std::vector<std::string>& environment,
                           const std::string& output) {
  std::vector<std::string> arguments = command;
  std::vector<std::string> variables = WholeEnvironment(environment);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(),
                                   O_WRONLY | O_CREAT | O_APPEND, 0600);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  // A connection that a server of this process has closed would stay open in the program.
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
  if (posix_spawn(&process_, command[0].c_str(), &actions, nullptr, Pointers(arguments).data(),
                  Pointers(variables).data()) != 0) {
    status_ = 127;
  }
  posix_spawn_file_actions_destroy(&actions);
}

ChildProcess::~ChildProcess() {
  if (!status_) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
}

void ChildProcess::Signal(int signal) const {
  kill(process_, signal);
}

std::optional<int> ChildProcess::Wait(std::chrono::milliseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  while (!status_) {
    int status = 0;
    if (waitpid(process_, &status, WNOHANG) == process_) {
      status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    } else if (std::chrono::steady_clock::now() >= end) {
      break;
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  return status_;
}

}  // namespace Prove
