#include "system/posix/host_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

namespace Tav::Testing {

namespace {

constexpr int kMaxSilence = 60000;  // milliseconds; for a busy machine

// Only what the host needs, so that this process's environment has no influence.
Lines EnvironmentOf(const HostSettings& settings) {
  return {
      "PATH=/usr/bin:/bin",  // for the sanitizers' symbolizer
      "LOCALAPPDATA=" + settings.folder.string(),
      "TAV_GATEWAY=" + settings.gateway,
      std::string("TAV_CONFIGURATOR=") + kNoServer,
      "TAV_LOG_LEVEL=" + settings.logLevel,
  };
}

[[noreturn]] void Execute(const char* program, const std::string& argument, Lines environment) {
  std::vector<char*> variables;
  for (std::string& variable : environment) {
    variables.push_back(variable.data());
  }
  variables.push_back(nullptr);
  const std::array<char*, 3> arguments = {const_cast<char*>(program),
                                          const_cast<char*>(argument.c_str()), nullptr};
  execve(program, arguments.data(), variables.data());
  _exit(127);
}

}  // namespace

HostProcess::HostProcess(const HostSettings& settings) {
  signal(SIGPIPE, SIG_IGN);
  std::array<int, 2> input{};
  std::array<int, 2> output{};
  if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(output.data(), O_CLOEXEC) != 0) {
    ADD_FAILURE() << "no pipes";
    return;
  }
  Lines environment = EnvironmentOf(settings);
  id_ = fork();
  if (id_ == 0) {
    dup2(input[0], STDIN_FILENO);
    dup2(output[1], STDOUT_FILENO);
    Execute(TAV_DURABLE_HOST, settings.prefix, std::move(environment));
  }
  close(input[0]);
  close(output[1]);
  input_ = input[1];
  output_ = output[0];
}

HostProcess::~HostProcess() {
  Kill();
  close(output_);
}

void HostProcess::Send(const std::string& lines) {
  const std::string whole = lines + '\n';
  size_t done = 0;
  while (done < whole.size()) {
    const ssize_t written = write(input_, whole.data() + done, whole.size() - done);
    if (written <= 0) {
      ADD_FAILURE() << "the host does not read its input";
      return;
    }
    done += static_cast<size_t>(written);
  }
}

// False at the end of the output and after a time-out.
bool HostProcess::ReadMore() {
  pollfd waiting{output_, POLLIN, 0};
  if (poll(&waiting, 1, kMaxSilence) != 1) {
    ADD_FAILURE() << "the host is silent";
    return false;
  }
  std::array<char, 65536> piece{};
  const ssize_t got = read(output_, piece.data(), piece.size());
  unread_.append(piece.data(), got > 0 ? static_cast<size_t>(got) : 0);
  return got > 0;
}

bool HostProcess::NextLine(std::string* line) {
  size_t end = unread_.find('\n');
  while (end == std::string::npos && ReadMore()) {
    end = unread_.find('\n');
  }
  if (end == std::string::npos) {
    return false;
  }
  *line = unread_.substr(0, end);
  unread_.erase(0, end + 1);
  Classify(*line);
  return true;
}

void HostProcess::Classify(const std::string& line) {
  constexpr std::string_view kAccepted = "accepted ";
  constexpr std::string_view kLog = "log: ";
  if (line.starts_with(kAccepted)) {
    accepted_.push_back(line.substr(kAccepted.size()));
  } else if (line.starts_with("killed ")) {
    killedAt_ = line;
  } else if (line.starts_with(kLog)) {
    log_.push_back(line.substr(kLog.size()));
  }
}

std::string HostProcess::Await(const std::string& part) {
  if (!Prints(part)) {
    ADD_FAILURE() << "the host never printed '" << part << "'";
    return {};
  }
  return last_;
}

bool HostProcess::Prints(const std::string& part) {
  while (NextLine(&last_)) {
    if (last_.find(part) != std::string::npos) {
      return true;
    }
  }
  return false;
}

void HostProcess::Drain() {
  std::string line;
  while (NextLine(&line)) {
  }
}

int HostProcess::Wait() {
  int status = 0;
  if (id_ > 0) {
    waitpid(id_, &status, 0);
    id_ = -1;
  }
  return status;
}

void HostProcess::Stop() {
  kill(id_, SIGSTOP);
}

void HostProcess::Kill() {
  if (id_ <= 0) {
    return;
  }
  kill(id_, SIGKILL);
  Wait();
  close(std::exchange(input_, -1));
  Drain();
}

void HostProcess::Finish() {
  close(std::exchange(input_, -1));
  Drain();
  EXPECT_EQ(Wait(), 0) << "the exit status of the host";
}

std::string HostProcess::Logged(const std::string& part) const {
  const auto found = std::find_if(log_.begin(), log_.end(), [&](const std::string& line) {
    return line.find(part) != std::string::npos;
  });
  return found == log_.end() ? "" : *found;
}

std::string HostProcess::WholeLog() const {
  std::string whole;
  for (const std::string& line : log_) {
    whole += line + '\n';
  }
  return whole;
}

}  // namespace Tav::Testing
