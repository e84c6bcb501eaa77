// A store that does what a test tells it.
#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "gateway/store/store.h"

namespace Gateway {

// What the test and the store share; outlives the store.
class StoreScript {
 public:
  // The outcomes of the next records, in order; Stored when there are no more.
  void Expect(std::vector<AddOutcome> outcomes) {
    const std::scoped_lock guard(lock_);
    outcomes_.insert(outcomes_.end(), outcomes.begin(), outcomes.end());
  }

  // Records wait until Release.
  void Hold() {
    const std::scoped_lock guard(lock_);
    isHeld_ = true;
  }
  void Release() {
    std::vector<std::pair<Store::Done, AddResult>> waiting;
    {
      const std::scoped_lock guard(lock_);
      isHeld_ = false;
      waiting.swap(waiting_);
    }
    for (const auto& [done, result] : waiting) {
      done(result);
    }
  }

  std::size_t Waiting() const {
    const std::scoped_lock guard(lock_);
    return waiting_.size();
  }

  void Add(Store::Done done) {
    AddResult result{AddOutcome::Stored, ""};
    {
      const std::scoped_lock guard(lock_);
      if (!outcomes_.empty()) {
        result.outcome = outcomes_.front();
        result.reason = result.outcome == AddOutcome::Failed ? "the disk is full" : "";
        outcomes_.pop_front();
      }
      if (isHeld_) {
        waiting_.emplace_back(std::move(done), std::move(result));
        return;
      }
    }
    done(result);
  }

 private:
  mutable std::mutex lock_;
  std::deque<AddOutcome> outcomes_;
  std::vector<std::pair<Store::Done, AddResult>> waiting_;
  bool isHeld_ = false;
};

class ScriptedStore final : public Store {
 public:
  explicit ScriptedStore(StoreScript& script) : script_(script) {}
  ~ScriptedStore() override { script_.Release(); }

  void Add(std::shared_ptr<const Record>, Done done) override { script_.Add(std::move(done)); }
  Answer Ask(std::string_view, const Parameters&) override { return {404, "{}"}; }
  std::int64_t Forget(std::string_view, std::string&) override { return 0; }

 private:
  StoreScript& script_;
};

}  // namespace Gateway
