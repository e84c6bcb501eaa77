// Runs the examples of the reference. An example that misuses the library makes it log a warning or
// an error; the gateway shows what the examples report.
#include "snippets.h"

#include <stdlib.h>
#include <string.h>

#include "system/slots.h"

static void TAV_CALL Listen(const char* line) {
  if (strncmp(line, "error: ", 7) == 0 || strncmp(line, "warning: ", 9) == 0) {
    CheckThat(false, line, __FILE__, __LINE__);
  }
}

int main(void) {
  const TavEntryTable* tav = LoadEntryTable(TAV_INTERFACE_VERSION);

  // The settings have a run of their own: some keep reports from being sent.
  ShowLog(tav);
  ShowIdentity(tav);
  ShowTuning(tav, getenv("LOCALAPPDATA"));
  tav->SetMessageSink(TavSinkPointer(Listen));
  CHECK(ShowStart(tav) == TAV_OK);
  ShowEnd(tav);

  ShowProductValues(tav);
  CHECK(ShowStart(tav) == TAV_OK);
  ShowEvents(tav);
  ShowPlaces(tav);
  ShowCommandsAndErrors(tav);
  ShowCounters(tav);
  ShowSessions(tav);
  ShowComponents(tav);
  ShowTransfer(tav);
  ShowSuspension(tav);
  ShowQueries(tav);
  ShowEnd(tav);

  ShowOptOut(tav);
  ShowWrapper(tav);
  return CheckResult();
}
