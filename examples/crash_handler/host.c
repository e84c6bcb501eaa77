// A host that crashes. Its events before the crash and the crash itself arrive at the gateway,
// either now or with the next run.
// tav.dll must be in the program's folder.
#include <stdint.h>
#include <stdio.h>

#include <windows.h>

#include "crash_reporter.h"
#include "tav/tav.h"

static const TavEntryTable* LoadTav(void) {
  HMODULE module = LoadLibraryExW(L"tav.dll", NULL, LOAD_LIBRARY_SEARCH_APPLICATION_DIR);
  // A function pointer converts through void (*)(void) without compiler warnings.
  TavLoaderFunction loader =
      module == NULL ? NULL
                     : (TavLoaderFunction)(void (*)(void))GetProcAddress(module, TAV_LOADER_NAME);
  return loader == NULL ? NULL : loader(TAV_INTERFACE_VERSION);
}

// An invalid address.
static int* volatile invalid = (int*)(intptr_t)16;

static void Work(const TavEntryTable* tav) {
  tav->LogPlace("Editor");
  tav->LogEvent(tav->NewCommandEvent("File.Save"));
  *invalid = 1;
}

int main(void) {
  const TavEntryTable* tav = LoadTav();
  if (tav == NULL) {
    fprintf(stderr, "tav.dll cannot be loaded\n");
    return 1;
  }
  int status = tav->Initialize("CrashingHost", "1.0", "1.0.0.1", TAV_LANGUAGE_EN_US);
  if (status != TAV_OK) {
    fprintf(stderr, "Tav does not start: status %d, see docs/integration.md\n", status);
    return 1;
  }
  if (!StartCrashReporter(tav)) {
    fprintf(stderr, "crashes will not be reported\n");
  }

  Work(tav);

  // Not reached in this example: the end of an application that does not crash.
  StopCrashReporter();
  tav->Terminate();
  return 0;
}
