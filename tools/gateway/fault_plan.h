// Fault injection: a queue of faults, each of which applies to a number of requests.
#pragma once

#include <jansson.h>

#include <chrono>
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
  bool store = false;                 // store the record anyway; not for Delay
  std::int64_t count = 1;             // requests to which it still applies
};

// Reads one fault, {"kind":"status","status":500,"count":3}, or an array of them. On failure
// returns nothing, with the reason in `error`. Unknown members are errors.
std::optional<std::vector<Fault>> ParseFaults(const json_t* value, std::string& error);

// Thread-safe; no function blocks.
class FaultPlan {
 public:
  void Append(const std::vector<Fault>& faults);

  // The fault for the next request, if there is one; reduces its count by one.
  std::optional<Fault> Take();

  void Clear();

  // The queue as a JSON array in the form that ParseFaults reads.
  std::string Describe() const;

 private:
  mutable std::mutex lock_;
  std::deque<Fault> queue_;
};

// "status 500", "delay 200 ms", "hang", "drop, record stored".
std::string FaultText(const Fault& fault);

}  // namespace Gateway
