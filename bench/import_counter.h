// Counts what a loaded module asks of the C run-time's heap and of the system, by replacing entries
// of its import table while it runs. So the module needs no instrumentation of its own, and what is
// counted is the very DLL that is shipped.
#pragma once

#include <windows.h>

#include <cstdint>

namespace Bench {

// What the counted functions do.
enum Request : int {
  kHeapAllocate,  // malloc and its kin, HeapAlloc and its kin
  kHeapFree,
  kPageAllocate,  // VirtualAlloc
  kPageFree,
  kWake,  // SetEvent
  kRequestCount
};

struct RequestCounts {
  uint64_t of[kRequestCount] = {};
};

// At most one at a time, whose counts the static functions tell. Install and remove it while no
// other thread is inside the module.
class ImportCounter {
 public:
  // Replaces the entries; throws std::runtime_error when the module imports none of the functions
  // that allocate, because counting would then prove nothing.
  explicit ImportCounter(HMODULE module);
  // Puts the entries back.
  ~ImportCounter();
  ImportCounter(const ImportCounter&) = delete;
  ImportCounter& operator=(const ImportCounter&) = delete;

  // Sets all counts to zero; the calling thread is the host's from now on.
  static void Restart();
  static RequestCounts OnHostThread();
  static RequestCounts OnOtherThreads();

 private:
  HMODULE module_;
};

}  // namespace Bench
