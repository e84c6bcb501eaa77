#include "prove/host/system.h"

#include <windows.h>
// These need windows.h.
#include <psapi.h>
#include <tlhelp32.h>

#include <map>

namespace ProveHost {
namespace {

std::map<std::string, HMODULE>& Modules() {
  static std::map<std::string, HMODULE> modules;
  return modules;
}

// Wine does not implement GetProcessHandleCount.
int64_t CountHandles() {
  constexpr uintptr_t kHighest = 0x8000;
  int64_t count = 0;
  for (uintptr_t value = 4; value < kHighest; value += 4) {
    DWORD flags = 0;
    count += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) ? 1 : 0;
  }
  return count;
}

int64_t CountThreads() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  int64_t count = 0;
  for (BOOL found = Thread32First(snapshot, &entry); found;
       found = Thread32Next(snapshot, &entry)) {
    count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
  }
  CloseHandle(snapshot);
  return count;
}

}  // namespace

const TavEntryTable* Load(const std::string& path) {
  const HMODULE module = LoadLibraryA(path.c_str());
  if (module == nullptr) {
    return nullptr;
  }
  Modules()[path] = module;
  const auto loader = reinterpret_cast<TavLoaderFunction>(
      reinterpret_cast<void*>(GetProcAddress(module, TAV_LOADER_NAME)));
  return loader(TAV_INTERFACE_VERSION);
}

bool Unload(const std::string& path) {
  return FreeLibrary(Modules()[path]) != FALSE;
}

bool IsLoaded(const std::string& path) {
  return GetModuleHandleA(path.c_str()) != nullptr;
}

int64_t Now() {
  return static_cast<int64_t>(GetTickCount64());
}

void Sleep(int milliseconds) {
  ::Sleep(static_cast<DWORD>(milliseconds));
}

uint64_t ThisThread() {
  return GetCurrentThreadId();
}

Figures Measure() {
  PROCESS_MEMORY_COUNTERS memory{};
  K32GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory);
  return {.handles = CountHandles(),
          .threads = CountThreads(),
          .kilobytes = static_cast<int64_t>(memory.WorkingSetSize / 1024),
          .peakKilobytes = static_cast<int64_t>(memory.PeakWorkingSetSize / 1024)};
}

bool HoldFile(const std::string& path) {
  return CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr) !=
         INVALID_HANDLE_VALUE;
}

bool EndProcess(const std::string& end) {
  if (end == "exit") {
    ExitProcess(42);
  }
  if (end == "kill") {
    TerminateProcess(GetCurrentProcess(), 9);
  }
  return false;
}

}  // namespace ProveHost
