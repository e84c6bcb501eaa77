// The smallest host: loads tav.dll, says which product it is, reports one event and shuts down.
// tav.dll must lie beside the program. TAV_GATEWAY names the gateway, TAV_LOGFILE a log file.
#include <stdio.h>

#include <windows.h>

#include "tav/tav.h"

static const TavEntryTable* LoadTav(HMODULE* module) {
  *module = LoadLibraryA("tav.dll");
  if (*module == NULL) {
    fprintf(stderr, "tav.dll cannot be loaded: system error %lu\n", GetLastError());
    return NULL;
  }
  // By way of void (*)(void), the one function type that any other may be converted through.
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

  // What describes the installation is set before Initialize.
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

  // An application just goes on; only a program as short as this one waits for the outcome.
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
