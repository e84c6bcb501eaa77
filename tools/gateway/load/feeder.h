// Adds records to a store as fast as it takes them.
#pragma once

#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

#include "gateway/store/store.h"

namespace Gateway {

class Feeder {
 public:
  // `maxInFlight`: records that the store may have at a time; a gateway has as many as there are
  // clients.
  Feeder(Store& store, int maxInFlight) : store_(store), maxInFlight_(maxInFlight) {}
  ~Feeder() { WaitFor(1); }
  Feeder(const Feeder&) = delete;
  Feeder& operator=(const Feeder&) = delete;

  void Add(std::shared_ptr<const Record> record) {
    WaitFor(maxInFlight_);
    {
      const std::scoped_lock guard(lock_);
      ++inFlight_;
    }
    store_.Add(std::move(record), [this](const AddResult& result) { Count(result); });
  }

  // Waits for all answers. The first failure's reason is on standard error.
  int Failures() {
    WaitFor(1);
    return failures_;
  }

 private:
  void Count(const AddResult& result) {
    const std::scoped_lock guard(lock_);
    --inFlight_;
    if (result.outcome == AddOutcome::Failed && failures_++ == 0) {
      std::fprintf(stderr, "not stored: %s\n", result.reason.c_str());
    }
    isAnswered_.notify_one();
  }

  void WaitFor(int inFlight) {
    std::unique_lock guard(lock_);
    isAnswered_.wait(guard, [&] { return inFlight_ < inFlight; });
  }

  Store& store_;
  const int maxInFlight_;
  std::mutex lock_;
  std::condition_variable isAnswered_;
  int inFlight_ = 0;
  int failures_ = 0;
};

}  // namespace Gateway
