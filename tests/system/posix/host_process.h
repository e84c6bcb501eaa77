// Runs durable_host in a process of its own.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "system/gateway_client.h"

namespace Tav::Testing {

struct HostSettings {
  std::string prefix;            // of the events' names
  std::filesystem::path folder;  // LOCALAPPDATA
  std::string gateway;
  std::string logLevel = "WARN";
};

// Not thread-safe. Every wait is bounded; the test fails if one times out.
class HostProcess {
 public:
  explicit HostProcess(const HostSettings& settings);
  // Kills the host if it still runs.
  ~HostProcess();
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  // Writes lines to its standard input; blocks while the pipe is full.
  void Send(const std::string& lines);
  // Reads its output until a line contains `part`, and returns that line. If there is none the test
  // fails and the result is empty.
  std::string Await(const std::string& part);
  // Stops it where it is. Only Kill may follow.
  void Stop();
  // Kills it, and reads the rest of its output.
  void Kill();
  // Whether it prints `part` before its end.
  bool Prints(const std::string& part);
  // Closes its input and waits for its end. The test fails unless its status is 0.
  void Finish();

  // From the output so far: the events whose LogEvent had returned, and the library's log.
  const Lines& Accepted() const { return accepted_; }
  // What Prints found.
  const std::string& LastLine() const { return last_; }
  // Where it killed itself, see kill_points.h; empty if it did not.
  const std::string& KilledAt() const { return killedAt_; }
  std::string WholeLog() const;
  // The first log line that contains `part`; empty if there is none.
  std::string Logged(const std::string& part) const;

 private:
  bool ReadMore();
  bool NextLine(std::string* line);
  void Classify(const std::string& line);
  void Drain();
  int Wait();

  pid_t id_ = -1;
  int input_ = -1;
  int output_ = -1;
  std::string unread_;
  std::string last_;  // line that was read
  std::string killedAt_;
  Lines accepted_;
  Lines log_;
};

}  // namespace Tav::Testing
