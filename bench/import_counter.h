// Counts a module's calls to the C run-time's heap and to the system, by replacing entries of its
// import table in memory. The module needs no instrumentation, so the DLL under test is the one
// that is shipped.
#pragma once

#include <windows.h>

#include <cstdint>

namespace Bench {

// Kinds of counted functions.
enum Request : int {
  kHeapAllocate,  // malloc, HeapAlloc and similar functions
  kHeapFree,
  kPageAllocate,  // VirtualAlloc
  kPageFree,
  kWake,  // SetEvent
  kRequestCount
};

struct RequestCounts {
  uint64_t of[kRequestCount] = {};
};

// One object at a time; the static functions return its counts. Construct and destroy it while no
// other thread runs code of the module.
class ImportCounter {
 public:
  // Replaces the entries. Throws std::runtime_error if the module imports no function that
  // allocates, since the counts would be meaningless.
  explicit ImportCounter(HMODULE module);
  // Restores the entries.
  ~ImportCounter();
  ImportCounter(const ImportCounter&) = delete;
  ImportCounter& operator=(const ImportCounter&) = delete;

  // Sets all counts to zero. The calling thread is the host's thread from now on.
  static void Restart();
  static RequestCounts OnHostThread();
  static RequestCounts OnOtherThreads();

 private:
  HMODULE module_;
};

}  // namespace Bench
