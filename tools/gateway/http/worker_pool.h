// Threads for work that would hold up the I/O threads.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace Gateway {

class WorkerPool {
 public:
  using Task = std::function<void()>;

  explicit WorkerPool(unsigned threads);
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;
  ~WorkerPool() { Stop(); }

  // Queues the task; drops it after Stop. Tasks start in their order. Any thread; does not block.
  // The queue is bounded by its users: a connection has one request at a time.
  void Run(Task task);

  // Blocks until the running tasks have ended, and drops the others.
  void Stop();

 private:
  void Work();

  std::mutex lock_;
  std::condition_variable changed_;
  std::deque<Task> tasks_;
  bool isStopping_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace Gateway
