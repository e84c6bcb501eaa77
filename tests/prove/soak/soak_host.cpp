// A host of the soak test. It reports until SIGTERM, then terminates the library and exits;
// soak.cpp kills it at any moment.
//
// Usage: soak_host NAME VERSION FOLDER COUNTERS SHIFT
// Two threads report events "Soak" with the properties "host" (NAME.THREAD) and "serial", in
// bursts, while the main thread commits. How many have been accepted stands in the file COUNTERS.
// The wall clock of this process is wrong by SHIFT seconds. A host with the name "drain" reports
// nothing and ends when a Commit says that everything has been sent.
#include <tav/tav.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "system/posix/blast_counters.h"

extern "C" const TavEntryTable* TAV_CALL TavLoader(int version);

namespace {

constexpr int kThreads = 2;
constexpr int kMaxBurst = 20;
constexpr int kHugeBurst = 2000;  // one of kBursts
constexpr int kBursts = 200;
constexpr int kMaxPauseMicroseconds = 1'000'000;
constexpr int kDrainAttempts = 300;
constexpr useconds_t kDrainPauseMicroseconds = 200'000;

std::int64_t clockShift = 0;
std::atomic<bool> isEnding{false};

void Report(const TavEntryTable& tav,
            const std::string& name,
            int thread,
            Tav::Testing::BlastCounters& counters) {
  const std::string host = name + '.' + std::to_string(thread);
  std::mt19937 random(std::random_device{}());
  std::int64_t serial = 0;
  while (!isEnding) {
    const auto burst =
        random() % kBursts == 0 ? kHugeBurst : static_cast<int>(random() % kMaxBurst);
    for (int i = 0; i < burst; ++i) {
      TavEvent_s* const event = tav.NewEvent("Soak");
      tav.AddEventProperty(event, "host", host.c_str());
      tav.AddNumericEventProperty(event, "serial", static_cast<double>(serial));
      tav.LogEvent(event);
      counters.Set(thread, ++serial);
    }
    usleep(static_cast<useconds_t>(random() % kMaxPauseMicroseconds));
  }
}

void RunUntilTold(const TavEntryTable& tav, const char* name, const char* countersFile) {
  Tav::Testing::BlastCounters counters(countersFile);
  std::vector<std::thread> reporting;
  for (int i = 0; i < kThreads; ++i) {
    reporting.emplace_back([&, i] { Report(tav, name, i, counters); });
  }
  std::mt19937 random(std::random_device{}());
  while (!isEnding) {
    usleep(static_cast<useconds_t>(random() % (2 * kMaxPauseMicroseconds)));
    tav.Commit();  // fails while the gateway is away
  }
  for (std::thread& thread : reporting) {
    thread.join();
  }
}

bool Drain(const TavEntryTable& tav) {
  for (int i = 0; i < kDrainAttempts; ++i) {
    if (tav.Commit() == 0) {
      return true;
    }
    usleep(kDrainPauseMicroseconds);
  }
  return false;
}

}  // namespace

// The linker calls __wrap_X in place of X, and X by the name __real_X.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the linker's names
extern "C" int __real_clock_gettime(clockid_t clock, timespec* now);
extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* now) {
  const int status = __real_clock_gettime(clock, now);
  if (clock == CLOCK_REALTIME) {
    now->tv_sec += clockShift;
  }
  return status;
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

int main(int count, char** arguments) {
  if (count != 6) {
    std::fprintf(stderr, "usage: soak_host NAME VERSION FOLDER COUNTERS SHIFT\n");
    return 2;
  }
  clockShift = std::atoll(arguments[5]);
  std::signal(SIGTERM, [](int) { isEnding = true; });
  const TavEntryTable& tav = *TavLoader(TAV_INTERFACE_VERSION);
  setenv("LOCALAPPDATA", arguments[3], 1);
  tav.SetCacheDirectory(arguments[3]);
  // Sends often: every second, in place of every few minutes.
  tav.SetSendInterval(1, TAV_UNIT_SECONDS);
  if (tav.Initialize("Soak", arguments[2], "1.0.0", TAV_LANGUAGE_EN_US) != TAV_OK) {
    std::fprintf(stderr, "soak_host: the library does not start\n");
    return 2;
  }
  // Returns after the start: from now on the journal stands.
  tav.GetLastActiveTime();
  bool isGood = true;
  if (std::string(arguments[1]) == "drain") {
    isGood = Drain(tav);
  } else {
    RunUntilTold(tav, arguments[1], arguments[4]);
  }
  tav.Terminate();
  return isGood ? 0 : 1;
}
