// What the campaigns' host needs of the operating system.
#pragma once

#include <tav/tav.h>

#include <cstdint>
#include <string>

namespace ProveHost {

// Loads the library, or a copy of it; null on failure. Natively the library is linked, once.
const TavEntryTable* Load(const std::string& path);
// Unloads it. False where it is linked.
bool Unload(const std::string& path);
bool IsLoaded(const std::string& path);

// Milliseconds on a monotonic clock.
int64_t Now();
void Sleep(int milliseconds);
uint64_t ThisThread();

// What the process holds.
struct Figures {
  int64_t handles = 0;  // natively file descriptors
  int64_t threads = 0;
  int64_t kilobytes = 0;      // in physical memory
  int64_t peakKilobytes = 0;  // at most so far
};
Figures Measure();

// Opens the file so that nobody else can, until the process ends.
bool HoldFile(const std::string& path);

// Makes every later query of the hardware hang. False where there is none.
bool HangHardwareQueries();
bool HardwareQueryHangs();

// Ends of the process, by the name of tests/prove/host/ends.cpp. False if the system has no such
// end.
bool EndProcess(const std::string& end);

}  // namespace ProveHost
