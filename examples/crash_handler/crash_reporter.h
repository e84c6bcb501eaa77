// Reports a crash of this process as an error event, with the stack at the place of the crash.
#pragma once

#include "tav/tav.h"

// Begins to watch for unhandled exceptions. `tav` is running, and stays so until StopCrashReporter.
// Returns 0 when the system gives no thread.
int StartCrashReporter(const TavEntryTable* tav);

// Before Terminate.
void StopCrashReporter(void);
