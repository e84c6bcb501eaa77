// How the gateway misbehaves on demand: a queue of faults, each for a number of requests.
#pragma once

#include <jansson.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "gateway/json_text.h"

namespace Gateway {

enum class FaultKind {
  Status,  // answer with another status
  Delay,   // answer late
  Hang,    // never answer
  Drop,    // close the connection instead of answering
};

struct Fault {
  FaultKind kind = FaultKind::Status;
  int status = 500;                   // Status only
  std::chrono::milliseconds delay{};  // Delay only
  bool store = false;                 // whether the record arrives although its sender is
                                      // not told so; not for Delay
  std::int64_t count = 1;             // requests that it still applies to
};

// Reads one fault, {"kind":"status","status":500,"count":3}, or an array of them. On failure
// nothing is returned and `error` says why; a member that the kind does not know is a failure, too.
std::optional<std::vector<Fault>> ParseFaults(const json_t* value, std::string& error);

// The queue. Any thread may call any member; none blocks.
class FaultPlan {
 public:
  void Append(const std::vector<Fault>& faults);

  // The fault for the request that has just come in, if there is one; uses up one of its count.
  std::optional<Fault> Take();

  void Clear();

  // The faults still to come as a JSON array in the form that ParseFaults reads.
  std::string Describe() const;

 private:
  mutable std::mutex lock_;
  std::deque<Fault> queue_;
};

// Where delayed requests wait, so that they can be called off.
class DelayRoom {
 public:
  // Blocks for the given time. False when CallOff or Close came first.
  bool Wait(std::chrono::milliseconds time);

  // Ends every wait that has begun.
  void CallOff();

  // Ends every wait, also those to come.
  void Close();

 private:
  std::mutex lock_;
  std::condition_variable calledOff_;
  std::uint64_t round_ = 0;
  bool isClosed_ = false;
};

// "status 500", "delay 200 ms", "hang", "drop, record stored".
std::string FaultText(const Fault& fault);

}  // namespace Gateway
