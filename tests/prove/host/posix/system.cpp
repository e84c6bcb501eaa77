#include "prove/host/system.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>

extern "C" const TavEntryTable* TAV_CALL TavLoader(int version);

namespace ProveHost {
namespace {

int64_t CountEntries(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

// A line of /proc/self/status.
int64_t StatusNumber(const std::string& name) {
  std::ifstream status("/proc/self/status");
  std::string word;
  int64_t number = 0;
  while (status >> word) {
    if (word == name) {
      status >> number;
      break;
    }
  }
  return number;
}

}  // namespace

const TavEntryTable* Load(const std::string&) {
  return TavLoader(TAV_INTERFACE_VERSION);
}

bool Unload(const std::string&) {
  return false;
}

bool IsLoaded(const std::string&) {
  return true;
}

int64_t Now() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

void Sleep(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

uint64_t ThisThread() {
  return std::hash<std::thread::id>()(std::this_thread::get_id());
}

Figures Measure() {
  return {.handles = CountEntries("/proc/self/fd"),
          .threads = CountEntries("/proc/self/task"),
          .kilobytes = StatusNumber("VmRSS:"),
          .peakKilobytes = StatusNumber("VmHWM:")};
}

// What src/platform takes for a share mode.
bool HoldFile(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  return file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0;
}

bool HangHardwareQueries() {
  return false;
}

bool HardwareQueryHangs() {
  return false;
}

bool EndProcess(const std::string& end) {
  if (end == "exit") {
    std::exit(42);
  }
  if (end == "exit-at-once") {
    _exit(45);
  }
  if (end == "kill") {
    kill(getpid(), SIGKILL);
  }
  return false;
}

}  // namespace ProveHost
