// The examples of the reference. Each function shows some slots of the table in the order in which
// a host calls them; the lines between two equal marks are the example of the slot named by the
// mark. tests/docs runs them all. C99.
#pragma once

#include <tav/tav.h>

#ifdef __cplusplus
extern "C" {
#endif

// Before Initialize.
void ShowLog(const TavEntryTable* tav);
void ShowIdentity(const TavEntryTable* tav);
// `directory` exists.
void ShowTuning(const TavEntryTable* tav, const char* directory);
void ShowProductValues(const TavEntryTable* tav);

// From Initialize to Terminate.
int ShowStart(const TavEntryTable* tav);
void ShowEvents(const TavEntryTable* tav);
void ShowCommandsAndErrors(const TavEntryTable* tav);
void ShowPlaces(const TavEntryTable* tav);
void ShowCounters(const TavEntryTable* tav);
void ShowSessions(const TavEntryTable* tav);
void ShowComponents(const TavEntryTable* tav);
void ShowSuspension(const TavEntryTable* tav);
void ShowTransfer(const TavEntryTable* tav);
void ShowQueries(const TavEntryTable* tav);
void ShowEnd(const TavEntryTable* tav);

// While the library does not run. Both start and end it.
void ShowOptOut(const TavEntryTable* tav);
void ShowWrapper(const TavEntryTable* tav);

#ifdef __cplusplus
}
#endif
