// Measures what a host's thread pays once: loading tav.dll and TavInitialize. A program of its own
// that imports only the C run-time, so that no system library is loaded before tav.dll needs it.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/host_library.h"
#include "bench/results.h"

namespace {

using namespace Bench;

constexpr int kPlainLoads = 9;

// Microseconds; the median, because a load right after another process's is slower.
double MeasurePlain(const Timing& timing, const std::string& path) {
  std::vector<double> times;
  for (int i = 0; i < kPlainLoads; ++i) {
    const Ticks start = ReadTicks();
    const HMODULE module = LoadLibraryA(path.c_str());
    times.push_back(timing.Microseconds(ReadTicks() - start));
    if (module == nullptr) {
      throw std::runtime_error(path + " cannot be loaded: system error " +
                               std::to_string(GetLastError()));
    }
    FreeLibrary(module);
  }
  std::nth_element(times.begin(), times.begin() + kPlainLoads / 2, times.end());
  return times[kPlainLoads / 2];
}

void Measure(const std::string& library, const std::string& plainLibrary, Results& results) {
  const Timing timing;
  const double plain = MeasurePlain(timing, plainLibrary);
  const Ticks start = ReadTicks();
  HostLibrary host(library);
  const Ticks loaded = ReadTicks();
  // Also creates the folder, which takes a fraction of a millisecond.
  host.Start("null://", "scratch");
  const Ticks initialized = ReadTicks();
  TavEvent_s* const event = host.Table().NewEvent("First");
  host.Table().LogEvent(event);
  const Ticks reported = ReadTicks();
  host.Drain();
  host.Stop();
  const double total = timing.Microseconds(initialized - start);
  results.AddRound(
      "load", "first", Pack("{}"),
      Pack("{s:f, s:f, s:f, s:f, s:f, s:f}", "load_us", timing.Microseconds(loaded - start),
           "initialize_us", timing.Microseconds(initialized - loaded), "first_event_us",
           timing.Microseconds(reported - initialized), "plain_us", plain, "total_us", total,
           "ratio", total / plain));
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) {
    std::fprintf(stderr, "usage: bench_load TAV.DLL PLAIN.DLL RESULTS.JSON\n");
    return 2;
  }
  try {
    Results results(arguments[3]);
    Measure(arguments[1], arguments[2], results);
    results.Save();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench_load: %s\n", error.what());
    return 1;
  }
}
