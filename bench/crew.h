// Threads that do the same thing many times, each time measured.
#pragma once

#include <windows.h>

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>
#include <vector>

#include "bench/event_content.h"
#include "bench/timing.h"

namespace Bench {

struct Load {
  int threads = 1;
  int eventsPerThread = 1;
  // What each thread waits before each event; 0 is full blast.
  int pauseMilliseconds = 0;

  int Events() const { return threads * eventsPerThread; }
};

struct CrewTimes {
  std::vector<Ticks> samples;  // one for each event, of all threads
  double seconds = 0;          // from the common start until the last thread is done
};

// The serial number of a thread's n-th event: no two events of a run have the same.
inline double Serial(const Load& load, int thread, int event) {
  return static_cast<double>(thread) * load.eventsPerThread + event;
}

// Lets threads go at the same moment. (std::latch would say it shorter, but that of the MinGW
// run-time now and then leaves a thread waiting for ever.)
class StartingGate {
 public:
  // On each thread of the crew: waits until the gate is opened.
  void Enter() {
    std::unique_lock lock(mutex_);
    ++waiting_;
    changed_.notify_all();
    changed_.wait(lock, [&] { return isOpen_; });
  }

  // Waits until so many threads are waiting, and opens it.
  void OpenFor(int threads) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return waiting_ == threads; });
    isOpen_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int waiting_ = 0;
  bool isOpen_ = false;
};

// Calls `work(serial, values)` as often as the load says and takes each call's time. The threads
// start together; the room for the samples has been touched by then, so that no page fault is
// measured that is the benchmark's own.
template <typename Work>
CrewTimes RunCrew(const Timing& timing, const Load& load, Work work) {
  CrewTimes times;
  times.samples.assign(static_cast<size_t>(load.Events()), 0);
  StartingGate gate;
  const auto body = [&](int thread) {
    Ticks* sample = times.samples.data() +
                    static_cast<size_t>(thread) * static_cast<size_t>(load.eventsPerThread);
    gate.Enter();
    for (int event = 0; event < load.eventsPerThread; ++event) {
      if (load.pauseMilliseconds > 0) {
        Sleep(static_cast<DWORD>(load.pauseMilliseconds));
      }
      const double serial = Serial(load, thread, event);
      const EventValues values = ValuesOf(serial);
      const Ticks start = ReadTicks();
      work(serial, values);
      *sample++ = ReadTicks() - start;
    }
  };
  std::vector<std::thread> threads;
  threads.reserve(static_cast<size_t>(load.threads));
  for (int thread = 0; thread < load.threads; ++thread) {
    threads.emplace_back(body, thread);
  }
  gate.OpenFor(load.threads);
  const Ticks start = ReadTicks();
  for (std::thread& thread : threads) {
    thread.join();
  }
  times.seconds = timing.Seconds(ReadTicks() - start);
  return times;
}

}  // namespace Bench
