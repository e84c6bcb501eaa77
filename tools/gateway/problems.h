// The reasons why a record is not what it should be, in the order in which they were found.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace Gateway {

// Collects texts for people. A record can be wrong in every one of its events, so only the first
// kMaxListed reasons are kept; the rest are counted.
class Problems {
 public:
  static constexpr std::size_t kMaxListed = 20;

  void Add(std::string reason) {
    if (listed_.size() < kMaxListed) {
      listed_.push_back(std::move(reason));
    } else {
      ++unlisted_;
    }
  }

  bool IsEmpty() const { return listed_.empty(); }

  // The reasons; a last line says how many more there were.
  std::vector<std::string> List() const {
    std::vector<std::string> all = listed_;
    if (unlisted_ > 0) {
      all.push_back("and " + std::to_string(unlisted_) + " more");
    }
    return all;
  }

 private:
  std::vector<std::string> listed_;
  std::size_t unlisted_ = 0;
};

}  // namespace Gateway
