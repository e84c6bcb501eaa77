#include "gateway/http/worker_pool.h"

#include <cstdio>
#include <exception>
#include <utility>

namespace Gateway {
namespace {

// Out of memory, most likely. The task's exchange drops its connection.
void RunGuarded(const WorkerPool::Task& task) {
  try {
    task();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "gateway: a request failed: %s\n", failure.what());
  }
}

}  // namespace

WorkerPool::WorkerPool(unsigned threads) {
  for (unsigned i = 0; i < threads; ++i) {
    threads_.emplace_back(&WorkerPool::Work, this);
  }
}

void WorkerPool::Run(Task task) {
  {
    const std::scoped_lock guard(lock_);
    if (isStopping_) {
      return;
    }
    tasks_.push_back(std::move(task));
  }
  changed_.notify_one();
}

void WorkerPool::Stop() {
  std::deque<Task> dropped;
  {
    const std::scoped_lock guard(lock_);
    isStopping_ = true;
    dropped.swap(tasks_);
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) {
    thread.join();
  }
  threads_.clear();
}

void WorkerPool::Work() {
  std::unique_lock guard(lock_);
  for (;;) {
    changed_.wait(guard, [&] { return isStopping_ || !tasks_.empty(); });
    if (isStopping_) {
      return;
    }
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    guard.unlock();
    RunGuarded(task);
    task = nullptr;
    guard.lock();
  }
}

}  // namespace Gateway
