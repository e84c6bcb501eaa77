// What a simulation counts, second by second and in sum.
#pragma once

#include <cstdint>
#include <vector>

#include "fleet/backlog.h"
#include "fleet/gateways.h"

namespace Fleet {

// One second of the simulation.
struct Second {
  int32_t accepted = 0;
  int32_t tooMany = 0;  // answered 503
  int32_t gone = 0;     // attempts that reached no gateway
  int64_t bytes = 0;    // of accepted requests
};

// The clients at the end of a minute.
struct Sample {
  int64_t behind = 0;  // whose last send failed or who have records in the cache
  int64_t records = 0;
  int64_t bytes = 0;
};

class Figures {
 public:
  Figures(int64_t begin, int64_t end) : begin_(begin), seconds_(static_cast<size_t>(end - begin)) {}

  void Count(int64_t time, Answer answer, int64_t bytes) {
    Second& second = seconds_[static_cast<size_t>(time - begin_)];
    switch (answer) {
      case Answer::Accepted:
        ++second.accepted;
        second.bytes += bytes;
        break;
      case Answer::TooMany:
        ++second.tooMany;
        break;
      case Answer::Gone:
        ++second.gone;
        break;
    }
  }

  void Take() { samples_.push_back({behind, waiting.records, waiting.bytes}); }

  int64_t Begin() const { return begin_; }
  int64_t End() const { return begin_ + static_cast<int64_t>(seconds_.size()); }
  const Second& At(int64_t time) const { return seconds_[static_cast<size_t>(time - begin_)]; }
  // One for each minute.
  const std::vector<Sample>& Samples() const { return samples_; }

  int64_t made = 0;       // events that hosts have reported
  int64_t delivered = 0;  // events
  int64_t kept = 0;       // events on all clients, counted at the end
  Amount waiting;         // built records on all clients
  Amount dropped;         // by bounds of the cache
  int64_t behind = 0;
  int64_t dropping = 0;  // clients that have dropped a record
  int64_t largest = 0;   // bytes of records that one client had at most
  int64_t turns = 0;     // how often a client was stepped

  // No event is lost by the simulation itself.
  bool Balanced() const { return made == delivered + kept + dropped.events; }

 private:
  int64_t begin_;
  std::vector<Second> seconds_;
  std::vector<Sample> samples_;
};

}  // namespace Fleet
