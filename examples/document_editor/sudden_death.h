// Ends the process in the middle of its work, as a crash or a user with the task manager would. The
// demo uses it to show that nothing is lost. Not part of a real application.
#pragma once

#include <atomic>
#include <functional>
#include <utility>

namespace DocumentEditor {

class SuddenDeath {
 public:
  static constexpr int kExitStatus = 9;

  // The process ends when `lastSerial` has reached `limit` and `threads` threads have stopped.
  // `testify` runs just before that.
  SuddenDeath(const std::atomic<int>& lastSerial,
              int limit,
              int threads,
              std::function<void()> testify)
      : lastSerial_(lastSerial), limit_(limit), running_(threads), testify_(std::move(testify)) {}

  // Call it between two actions of a thread. When the limit is reached, the thread stops here for
  // ever. Every library call that it has made has then returned.
  void Pass();
  // Call it at the end of a thread's work.
  void Leave();

 private:
  const std::atomic<int>& lastSerial_;
  const int limit_;
  std::atomic<int> running_;
  const std::function<void()> testify_;
};

}  // namespace DocumentEditor
