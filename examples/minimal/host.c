// The smallest host: loads tav.dll, starts it for a product, reports one event and shuts it down.
// tav.dll must be in the program's folder. Set TAV_GATEWAY to the gateway's URL and, if needed,
// TAV_LOGFILE to the path of a log file.
#include <stdio.h>

#include <windows.h>

#include "tav/tav.h"

static const TavEntryTable* LoadTav(HMODULE* module) {
  *module = LoadLibraryExW(L"tav.dll", NULL, LOAD_LIBRARY_SEARCH_APPLICATION_DIR);
  if (*module == NULL) {
    fprintf(stderr, "tav.dll cannot be loaded: system error %lu\n", GetLastError());
    return NULL;
  }
  // A function pointer converts through void (*)(void) without compiler warnings.
  TavLoaderFunction loader =
      (TavLoaderFunction)(void (*)(void))GetProcAddress(*module, TAV_LOADER_NAME);
  const TavEntryTable* tav = loader != NULL ? loader(TAV_INTERFACE_VERSION) : NULL;
  if (tav == NULL) {
    fprintf(stderr, "tav.dll does not serve interface version %d\n", TAV_INTERFACE_VERSION);
  }
  return tav;
}

int main(void) {
  HMODULE module = NULL;
  const TavEntryTable* tav = LoadTav(&module);
  if (tav == NULL) {
    return 1;
  }

  // Values that describe the installation are best set before Initialize.
  tav->AddProductInfo("Channel", "example");
  tav->AddNumericProductInfo("LicensedSeats", 1.0);
  int status = tav->Initialize("MinimalHost", "1.0", "1.0.0.1", TAV_LANGUAGE_EN_US);
  if (status != TAV_OK) {
    fprintf(stderr, "Tav does not start: status %d, see docs/integration.md\n", status);
    return 1;
  }

  TavEvent_s* event = tav->NewEvent("DocumentOpened");
  tav->AddEventProperty(event, "Format", "PDF");
  tav->AddNumericEventProperty(event, "Pages", 12.0);
  tav->LogEvent(event);  // consumes the event

  // An application would go on. Only a program as short as this one waits for the result.
  int unsent = tav->Commit();
  tav->Terminate();
  FreeLibrary(module);
  if (unsent != 0) {
    fprintf(stderr, "The event was not sent: set TAV_GATEWAY, and TAV_LOGFILE to see why.\n");
    return 1;
  }
  puts("The event was sent.");
  return 0;
}
