// Usage: ending_host END LIBRARY PLUGIN FOLDER
// A host that ends without TavTerminate, and whose code calls the library after that. END is
//   return   main returns. A static object of the program commits while the threads still run
//   exit     ExitProcess
//   sending  ExitProcess while the session thread waits for the gateway's answer: when the file
//            "go" appears in FOLDER
//   killed   the session thread is ended from outside, and the host goes on
// After the first three, the plug-in's static destructor calls the library. The result is in
// FOLDER/report.
#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "system/windows/ending_calls.h"

namespace {

const TavEntryTable* tav = nullptr;
HANDLE report = nullptr;

// Runs before ExitProcess.
struct CommitOnReturn {
  ~CommitOnReturn() {
    if (isWanted && tav->Commit() != 0) {
      TerminateProcess(GetCurrentProcess(), 3);
    }
  }

  bool isWanted = false;
};
CommitOnReturn commitOnReturn;

void TAV_CALL EndSessionThread(const char* line) {
  if (std::strstr(line, " SM: Client") != nullptr) {
    ExitThread(0);
  }
}

bool Exists(const std::string& path) {
  return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

template <typename Function>
Function Find(const char* library, const char* name) {
  const HMODULE module = LoadLibraryA(library);
  return module == nullptr ? nullptr
                           : reinterpret_cast<Function>(
                                 reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

void Write(const char* result) {
  DWORD written = 0;
  WriteFile(report, result, static_cast<DWORD>(std::strlen(result)), &written, nullptr);
}

}  // namespace

int main(int, char** arguments) {
  const std::string end = arguments[1];
  const std::string folder = arguments[4];
  const auto load = Find<TavLoaderFunction>(arguments[2], TAV_LOADER_NAME);
  const auto useAtEnd = Find<void (*)(const TavEntryTable*, void*)>(arguments[3], "UseAtEnd");
  report = CreateFileA((folder + "/report").c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                       CREATE_ALWAYS, 0, nullptr);
  if (load == nullptr || useAtEnd == nullptr || report == INVALID_HANDLE_VALUE) {
    return 2;
  }
  tav = load(TAV_INTERFACE_VERSION);
  tav->SetCacheDirectory(folder.c_str());
  if (end == "killed") {
    tav->EnableDebugLog();
    tav->SetLineSink(TavSinkPointer(EndSessionThread));
  }
  if (tav->Initialize("Ending.Host", "1.0", "1.0.0", TAV_LANGUAGE_NONE) != TAV_OK) {
    return 2;
  }
  if (end == "killed") {
    const char* const fault = Tav::Testing::CallAfterTheEnd(*tav);
    Write(fault == nullptr ? "done" : fault);
    return 0;
  }
  tav->LogEvent(tav->NewEvent("unfinished"));
  useAtEnd(tav, report);
  while (end == "sending" && !Exists(folder + "/go")) {
    Sleep(5);
  }
  if (end == "return") {
    commitOnReturn.isWanted = true;
    return 0;
  }
  ExitProcess(0);
}
