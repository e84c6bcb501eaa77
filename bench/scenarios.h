// The scenarios, each of which runs in a process of its own, and the load that most of them apply.
#pragma once

#include <windows.h>

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/event_content.h"
#include "bench/results.h"
#include "bench/timing.h"

namespace Bench {

struct Load {
  int threads = 1;
  int eventsPerThread = 1;
  int pauseMilliseconds = 0;  // of each thread before each group of events
  int groupSize = 1;

  int Events() const { return threads * eventsPerThread; }
};

struct Options {
  std::string scenario;
  std::string name;  // of the round in the results
  std::string library = "tav.dll";
  std::string results = "results.json";
  std::string scratch = "scratch";
  std::string gateway = "null://";
  std::string remark;  // for the report: machine and circumstances
  Load load;
};

// Each scenario adds one round to the results. It throws std::runtime_error if something failed or
// events were lost.

// Times of whole events, and of the floor under the same load.
void MeasureLatency(const Timing& timing, const Options& options, Results& results);
// Times of the single calls for an event.
void MeasureSteps(const Timing& timing, const Options& options, Results& results);
// Calls of the DLL to the heap and the system while events are reported.
void CountRequests(const Timing& timing, const Options& options, Results& results);
// Events per second from the host to the gateway; none may be lost.
void MeasureThroughput(const Timing& timing, const Options& options, Results& results);
// Speed of zlib alone on the records that the library makes of the events.
void MeasureCompression(const Timing& timing, const Options& options, Results& results);
// Times of events, and memory, while the gateway takes the events, and in a process in which the
// library may not send.
void MeasureGrowthSent(const Timing& timing, const Options& options, Results& results);
void MeasureGrowthWaiting(const Timing& timing, const Options& options, Results& results);
// Memory of the process at rest, at its peak and afterwards; size of the DLL.
void MeasureMemory(const Timing& timing, const Options& options, Results& results);

struct LoadTimes {
  std::vector<Ticks> samples;  // one for each event, of all threads
  double seconds = 0;          // from the common start until the last thread is done
};

// The serial number of a thread's n-th event; unique within a run.
inline double Serial(const Load& load, int thread, int event) {
  return static_cast<double>(thread) * load.eventsPerThread + event;
}

// Starts threads at the same moment. (std::latch would do, but the one of the MinGW run-time
// occasionally leaves a thread waiting for ever.)
class StartingGate {
 public:
  // Called by each thread; waits until the gate is open.
  void Enter() {
    std::unique_lock lock(mutex_);
    ++waiting_;
    changed_.notify_all();
    changed_.wait(lock, [&] { return isOpen_; });
  }

  // Waits until so many threads are waiting, and opens the gate.
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

// Calls `work(serial, values)` as often as the load says, and measures each call. The threads start
// together. The memory for the samples, which may be that of earlier ones, has been touched by
// then, so that its page faults are not measured.
template <typename Work>
LoadTimes RunLoad(const Timing& timing, const Load& load, Work work, LoadTimes times = {}) {
  times.samples.assign(static_cast<size_t>(load.Events()), 0);
  StartingGate gate;
  const auto body = [&](int thread) {
    Ticks* sample = times.samples.data() +
                    static_cast<size_t>(thread) * static_cast<size_t>(load.eventsPerThread);
    gate.Enter();
    for (int event = 0; event < load.eventsPerThread; ++event) {
      if (load.pauseMilliseconds > 0 && event % load.groupSize == 0) {
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
