// A DLL of a host with a static object whose destructor uses the library. The system runs it when
// the process ends, after it has killed all other threads.
#include <windows.h>

#include "system/windows/ending_calls.h"

namespace {

struct Plugin {
  ~Plugin() {
    if (tav == nullptr) {
      return;
    }
    const char* const fault = Tav::Testing::CallAfterTheEnd(*tav);
    const char* const result = fault == nullptr ? "done" : fault;
    DWORD written = 0;
    WriteFile(report, result, static_cast<DWORD>(std::strlen(result)), &written, nullptr);
    CloseHandle(report);
  }

  const TavEntryTable* tav = nullptr;
  HANDLE report = nullptr;
};

Plugin plugin;

}  // namespace

// `report` is a file; the destructor writes "done" or what was wrong to it.
extern "C" __declspec(dllexport) void UseAtEnd(const TavEntryTable* tav, void* report) {
  plugin.tav = tav;
  plugin.report = report;
}
