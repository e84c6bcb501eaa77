// Runs the C++ example of docs/integration.md with the DLL that the package has copied to this
// program's folder.
// Usage: host FOLDER
// The library keeps its files in FOLDER. TAV_GATEWAY is the URL for the records.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <tav/tav.hpp>

// The example.
void ReportFromCpp();

namespace {

int failures = 0;

void Expect(bool condition, const char* what, const char* found) {
  if (!condition) {
    std::fprintf(stderr, "host: %s: %s\n", what, found);
    ++failures;
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::fprintf(stderr, "usage: host FOLDER\n");
    return 2;
  }
  // The C run-time library has its own copy of the environment.
  _putenv_s("LOCALAPPDATA", arguments[1]);
  SetEnvironmentVariableA("LOCALAPPDATA", arguments[1]);

  {
    const auto missing = Tav::Host::Library::BesideProgram(L"missing.dll");
    Expect(!missing, "a DLL that is not there", "was loaded");
    Expect(std::strstr(missing.Error(), "system error 126") != nullptr, "a missing DLL's reason",
           missing.Error());

    Tav::Host::Library first = Tav::Host::Library::BesideProgram();
    Expect(static_cast<bool>(first), "tav.dll does not load", first.Error());
    const Tav::Host::Library tav = std::move(first);
    Expect(!first && tav, "the library", "did not move");
    Expect(tav.Error()[0] == '\0', "a reason without a failure", tav.Error());
    Expect(std::strcmp(tav.GetVersion(), PACKAGE_VERSION) == 0, "another version than the package",
           tav.GetVersion());
    Expect(std::strcmp(tav.GetVersion(), TAV_LIBRARY_VERSION) == 0, "another than the header's",
           tav.GetVersion());
  }
  Expect(GetModuleHandleW(L"tav.dll") == nullptr, "tav.dll", "stays loaded");

  ReportFromCpp();
  return failures == 0 ? 0 : 1;
}
