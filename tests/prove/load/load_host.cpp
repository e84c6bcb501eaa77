// A host whose threads report as fast as they can, and that measures the memory of its process.
//
// Usage: load_host THREADS EVENTS FOLDER
// Each thread reports EVENTS events "Load" with the properties "thread" and "serial". Threads run
// ahead of what has been delivered by kWindow events at most: more than the journal holds would be
// refused, which is not what is tested here. Prints the memory at the end of the first quarter and
// at its highest afterwards. Exit status 1 if a Commit fails or memory grows.
#include <tav/tav.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <thread>
#include <vector>

#ifdef _WIN32
// Version 2 has GetProcessMemoryInfo in kernel32.
#define PSAPI_VERSION 2
#include <windows.h>

#include <psapi.h>
#else
#include <unistd.h>

extern "C" const TavEntryTable* TAV_CALL TavLoader(int version);
#endif

namespace {

constexpr std::int64_t kWindow = 60'000;
constexpr std::int64_t kStep = 100;  // events between two looks at the window
// Memory that may be added after the first quarter: allocators keep what was freed.
constexpr std::int64_t kSlack = 8 << 20;

#ifdef _WIN32
const TavEntryTable* LoadTable() {
  const char* const path = std::getenv("TAV_TEST_LIBRARY");
  const HMODULE library = LoadLibraryA(path == nullptr ? "tav.dll" : path);
  if (library == nullptr) {
    return nullptr;
  }
  const auto loader = reinterpret_cast<TavLoaderFunction>(
      reinterpret_cast<void*>(GetProcAddress(library, TAV_LOADER_NAME)));
  return loader(TAV_INTERFACE_VERSION);
}

std::int64_t MemoryInUse() {
  PROCESS_MEMORY_COUNTERS counters = {};
  counters.cb = sizeof counters;
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return static_cast<std::int64_t>(counters.WorkingSetSize);
}
#else
const TavEntryTable* LoadTable() {
  return TavLoader(TAV_INTERFACE_VERSION);
}

std::int64_t MemoryInUse() {
  std::int64_t whole = 0;
  std::int64_t resident = 0;
  std::ifstream("/proc/self/statm") >> whole >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}
#endif

// How far the threads may run ahead.
class Window {
 public:
  void Wait(std::int64_t reported) {
    std::unique_lock guard(lock_);
    moved_.wait(guard, [&] { return reported - delivered_ < kWindow; });
  }
  void Move(std::int64_t delivered) {
    const std::scoped_lock guard(lock_);
    delivered_ = delivered;
    moved_.notify_all();
  }

 private:
  std::mutex lock_;
  std::condition_variable moved_;
  std::int64_t delivered_ = 0;
};

void Report(const TavEntryTable& tav,
            int thread,
            std::int64_t events,
            Window& window,
            std::atomic<std::int64_t>& reported) {
  for (std::int64_t serial = 0; serial < events; ++serial) {
    if (serial % kStep == 0) {
      window.Wait(reported);
    }
    TavEvent_s* const event = tav.NewEvent("Load");
    tav.AddNumericEventProperty(event, "thread", thread);
    tav.AddNumericEventProperty(event, "serial", static_cast<double>(serial));
    tav.AddEventProperty(event, "text", "a text of ordinary length, as a host would report it");
    tav.LogEvent(event);
    ++reported;
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) {
    std::fprintf(stderr, "usage: load_host THREADS EVENTS FOLDER\n");
    return 2;
  }
  const int threads = std::atoi(arguments[1]);
  const std::int64_t events = std::atoll(arguments[2]);
  const TavEntryTable* const tav = LoadTable();
  if (tav == nullptr) {
    std::fprintf(stderr, "load_host: the library does not load\n");
    return 2;
  }
#ifndef _WIN32
  setenv("LOCALAPPDATA", arguments[3], 0);
#endif
  tav->SetCacheDirectory(arguments[3]);
  if (tav->Initialize("Load", "1.0", "1.0.0", TAV_LANGUAGE_EN_US) != TAV_OK) {
    std::fprintf(stderr, "load_host: the library does not start\n");
    return 2;
  }

  Window window;
  std::atomic<std::int64_t> reported{0};
  std::vector<std::thread> reporting;
  for (int i = 0; i < threads; ++i) {
    reporting.emplace_back([&, i] { Report(*tav, i, events, window, reported); });
  }
  const std::int64_t total = threads * events;
  int failures = 0;
  std::int64_t early = 0;
  std::int64_t late = 0;
  for (std::int64_t delivered = 0; delivered < total;) {
    const std::int64_t before = reported;
    failures += tav->Commit();
    delivered = before;
    window.Move(delivered);
    std::int64_t& highest = delivered <= total / 4 ? early : late;
    highest = std::max(highest, MemoryInUse());
  }
  for (std::thread& thread : reporting) {
    thread.join();
  }
  tav->Terminate();
  // In a short run the first quarter says nothing about the rest.
  const bool isFlat = total < 10 * kWindow || late <= early + kSlack;
  std::printf(
      "%lld events, %d Commits failed, memory %.1f MiB in the first quarter, %.1f MiB later\n",
      static_cast<long long>(total), failures, static_cast<double>(early) / (1 << 20),
      static_cast<double>(late) / (1 << 20));
  return failures == 0 && isFlat ? 0 : 1;
}
