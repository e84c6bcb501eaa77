// The main function of all test programs that link the library's objects: on Windows it waits for
// threads that are ending.
#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>
// After windows.h, which defines what it uses.
#include <tlhelp32.h>

#include "platform/clock.h"

namespace {

int ThreadCount() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  int count = 0;
  for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
    count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
  }
  CloseHandle(snapshot);
  return count;
}

// A test knows when a detached thread has left the library's code, but not when the system has
// ended it. Wine 8 crashes when the process ends at the same moment as one of its threads. The
// bound is for threads that the system keeps, such as those of a pool.
void AwaitEndingThreads() {
  const int64_t end = Tav::Platform::MonotonicMilliseconds() + 1000;
  while (ThreadCount() > 1 && Tav::Platform::MonotonicMilliseconds() < end) {
    Sleep(1);
  }
}

}  // namespace
#endif

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const int status = RUN_ALL_TESTS();
#ifdef _WIN32
  AwaitEndingThreads();
#endif
  return status;
}
