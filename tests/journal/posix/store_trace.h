// Records the order in which code stores to memory. It runs the code one machine instruction at a
// time, as a kill can end it between any two. For x86-64.
#pragma once

#include <signal.h>
#include <x86intrin.h>

#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace Tav::Testing {

// One object at a time, on one thread.
class StoreTrace {
 public:
  // A word of the watched memory after an instruction. An instruction may store several words.
  struct Word {
    size_t instruction;  // increases
    uint64_t* at;
    uint64_t value;
  };

  StoreTrace() {
    struct sigaction action{};
    action.sa_handler = [](int) { active->Compare(); };
    sigaction(SIGTRAP, &action, &previous_);
    active = this;
    words_.reserve(kMaxWords);
  }
  ~StoreTrace() { sigaction(SIGTRAP, &previous_, nullptr); }
  StoreTrace(const StoreTrace&) = delete;
  StoreTrace& operator=(const StoreTrace&) = delete;

  // Borrows the memory.
  void Watch(std::byte* memory, size_t size) {
    ranges_.push_back({{reinterpret_cast<uint64_t*>(memory), size / sizeof(uint64_t)}, {}});
  }

  // Runs the code; returns what it stored, in order.
  template <typename Function>
  const std::vector<Word>& Run(const Function& code) {
    words_.clear();
    for (Range& range : ranges_) {
      range.known.assign(range.memory.begin(), range.memory.end());
    }
    __writeeflags(__readeflags() | kTrapFlag);
    code();
    __writeeflags(__readeflags() & ~kTrapFlag);
    return words_;
  }

 private:
  static constexpr unsigned long long kTrapFlag = 0x100;
  // The handler must not allocate.
  static constexpr size_t kMaxWords = 100000;

  struct Range {
    std::span<uint64_t> memory;
    std::vector<uint64_t> known;
  };

  // After each instruction.
  void Compare() {
    ++instruction_;
    for (Range& range : ranges_) {
      if (std::memcmp(range.memory.data(), range.known.data(), range.memory.size_bytes()) != 0) {
        Note(range);
      }
    }
  }

  void Note(Range& range) {
    for (size_t i = 0; i < range.known.size() && words_.size() < kMaxWords; ++i) {
      if (range.memory[i] != range.known[i]) {
        range.known[i] = range.memory[i];
        words_.push_back({instruction_, &range.memory[i], range.known[i]});
      }
    }
  }

  static inline StoreTrace* active = nullptr;
  struct sigaction previous_{};
  std::vector<Range> ranges_;
  std::vector<Word> words_;
  size_t instruction_ = 0;
};

}  // namespace Tav::Testing
