// Threads for connections. A connection keeps its thread for as long as it is open, and a fault can
// keep one open for ever; so there is always a thread for the next one.
#pragma once

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace Gateway {

// Idle threads are used again; a new one starts when none is idle. shutdown joins them all.
class GrowingPool final : public httplib::TaskQueue {
 public:
  // `beforeJoin` runs first in shutdown: it must make the running tasks end.
  explicit GrowingPool(std::function<void()> beforeJoin);

  void enqueue(std::function<void()> task) override;
  void shutdown() override;

 private:
  void Work();

  const std::function<void()> beforeJoin_;
  std::vector<std::thread> threads_;  // touched by the owner's thread only

  std::mutex lock_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;
  std::size_t idle_ = 0;  // threads that wait for a task
  bool isClosing_ = false;
};

}  // namespace Gateway
