// Usage: killed_host KILL LIBRARY FOLDER PREFIX MOMENT SECTION
// A host whose threads report events PREFIX.THREAD.SERIAL until one of them has reported MOMENT.
// The process is then killed; KILL is
//   self      TerminateProcess by itself
//   outside   by the test, while the library sends
//   system    under Wine, by the signal that no process can handle; else the same as self
// How many events each thread has reported stands in the memory SECTION, see killed_host.h.
#include "system/windows/killed_host.h"

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

using Tav::Testing::BlastMemory;

void KillBySystem() {
#ifdef __GNUC__
  if (GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr) {
    // The calls of the system below: 39 is getpid, 62 is kill.
    constexpr long long kSignal = 9;
    long long result = 39;
    __asm__ volatile("syscall" : "+a"(result) : : "rcx", "r11", "memory");
    const long long process = result;
    result = 62;
    __asm__ volatile("syscall"
                     : "+a"(result)
                     : "D"(process), "S"(kSignal)
                     : "rcx", "r11", "memory");
  }
#endif
}

void Kill(const std::string& kind, BlastMemory& memory) {
  if (kind == "outside") {
    memory.isReady = 1;
    Sleep(INFINITE);
  }
  if (kind == "system") {
    KillBySystem();
  }
  TerminateProcess(GetCurrentProcess(), Tav::Testing::kKilled);
}

}  // namespace

int main(int, char** arguments) {
  const std::string kind = arguments[1];
  const std::string prefix = arguments[4];
  const int moment = std::atoi(arguments[5]);
  const HANDLE section = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, arguments[6]);
  auto* const memory =
      static_cast<BlastMemory*>(MapViewOfFile(section, FILE_MAP_ALL_ACCESS, 0, 0, 0));
  const auto load = reinterpret_cast<TavLoaderFunction>(
      reinterpret_cast<void*>(GetProcAddress(LoadLibraryA(arguments[2]), TAV_LOADER_NAME)));
  if (memory == nullptr || load == nullptr) {
    return 2;
  }
  const TavEntryTable* const tav = load(TAV_INTERFACE_VERSION);
  tav->SetCacheDirectory(arguments[3]);
  if (tav->Initialize("System.Test", "1.0", "1.0.0", TAV_LANGUAGE_EN_US) != TAV_OK) {
    return 2;
  }
  tav->GetLastActiveTime();  // the file stands ready
  std::vector<std::thread> threads;
  for (int i = 0; i < Tav::Testing::kBlastThreads; ++i) {
    threads.emplace_back([&, i] {
      const std::string name = prefix + '.' + std::to_string(i) + '.';
      for (int serial = 0; serial < Tav::Testing::kBlastEvents; ++serial) {
        TavEvent_s* const event = tav->NewEvent((name + std::to_string(serial)).c_str());
        tav->AddEventProperty(event, "noise", "A property of an ordinary length");
        tav->LogEvent(event);
        memory->accepted[i] = serial + 1;
        if (i == 0 && serial + 1 == moment) {
          Kill(kind, *memory);
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  return 3;
}
