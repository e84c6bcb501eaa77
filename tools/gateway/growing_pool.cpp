#include "gateway/growing_pool.h"

#include <system_error>
#include <utility>

namespace Gateway {

GrowingPool::GrowingPool(std::function<void()> beforeJoin) : beforeJoin_(std::move(beforeJoin)) {}

void GrowingPool::enqueue(std::function<void()> task) {
  bool needsThread = false;
  {
    const std::scoped_lock guard(lock_);
    tasks_.push_back(std::move(task));
    needsThread = tasks_.size() > idle_;
  }
  changed_.notify_one();
  if (needsThread) {
    try {
      threads_.emplace_back(&GrowingPool::Work, this);
    } catch (const std::system_error&) {
      // No more threads to be had: the task waits until one of the others is free.
    }
  }
}

void GrowingPool::shutdown() {
  beforeJoin_();
  {
    const std::scoped_lock guard(lock_);
    isClosing_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) {
    thread.join();
  }
}

void GrowingPool::Work() {
  std::unique_lock guard(lock_);
  for (;;) {
    ++idle_;
    changed_.wait(guard, [&] { return isClosing_ || !tasks_.empty(); });
    --idle_;
    if (tasks_.empty()) {
      return;
    }
    const std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    guard.unlock();
    task();
    guard.lock();
  }
}

}  // namespace Gateway
