// A durable_host in a process of its own, with a storage folder that a test has prepared.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace Tav::Testing {

using Lines = std::vector<std::string>;

struct HostSettings {
  std::string prefix;            // of the names of its events
  std::filesystem::path folder;  // the user's, LOCALAPPDATA
  std::string gateway;
  std::string configurator;
  std::string logLevel = "WARN";
};

// One test thread uses it. Every wait is bounded; one that runs out is a test failure.
class HostProcess {
 public:
  explicit HostProcess(const HostSettings& settings);
  // Kills it when it has not ended.
  ~HostProcess();
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  // Lines for its standard input. What does not fit into the pipe is waited for.
  void Tell(const std::string& lines);
  // Reads what it says until a line contains `part`, and returns that line; empty, and a test
  // failure, when it says no such thing.
  std::string Await(const std::string& part);
  // Ends it at once, as a crash would, and takes what it had said.
  void Kill();
  // Ends its input and waits for its end, which must be a good one.
  void Finish();

  // What it has said so far: names of events whose LogEvent had returned, and lines of the log.
  const Lines& Accepted() const { return accepted_; }
  const Lines& Log() const { return log_; }
  // The first log line with that part; empty when there is none.
  std::string Logged(const std::string& part) const;
  // The log for people.
  std::string WholeLog() const;

 private:
  bool ReadMore();
  bool NextLine(std::string* line);
  void Note(const std::string& line);
  void Drain();
  int Wait();

  pid_t id_ = -1;
  int input_ = -1;
  int output_ = -1;
  std::string unread_;
  Lines accepted_;
  Lines log_;
};

}  // namespace Tav::Testing
