// Examples: start and stop.
#include <stdio.h>

#include "snippets.h"

int ShowStart(const TavEntryTable* tav) {
  //! [Initialize]
  // The settings come before this call. Without analytics the application goes on.
  const int status = tav->Initialize("Editor", "4.2", "4.2.0.118", TAV_LANGUAGE_EN_US);
  if (status != TAV_OK) {
    fprintf(stderr, "No analytics: status %d\n", status);
  }
  //! [Initialize]
  return status;
}

void ShowOptOut(const TavEntryTable* tav) {
  const bool userHasOptedOut = true;
  //! [OptOut]
  // Before each Initialize: Terminate resets it. The rest of the host stays as it is.
  if (userHasOptedOut) {
    tav->OptOut();
  }
  tav->Initialize("Editor", "4.2", "4.2.0.118", TAV_LANGUAGE_EN_US);
  //! [OptOut]
  tav->LogEvent(tav->NewEvent("NotSent"));
  tav->Terminate();
}

void ShowSuspension(const TavEntryTable* tav) {
  //! [Suspend] [Resume]
  // A presentation begins: report as usual, but leave the network alone.
  tav->Suspend();
  tav->LogEvent(tav->NewEvent("PresentationBegun"));
  // It ends.
  tav->Resume();
  //! [Suspend] [Resume]

  //! [Commit]
  // On a worker thread, since it waits: send now instead of at the end of the send interval.
  if (tav->Commit() != 0) {
    fputs("Some reports wait for a later attempt\n", stderr);
  }
  //! [Commit]
}

void ShowEnd(const TavEntryTable* tav) {
  //! [Terminate]
  // After the windows are closed, when no other thread calls the library any more.
  tav->Terminate();
  //! [Terminate]
}
