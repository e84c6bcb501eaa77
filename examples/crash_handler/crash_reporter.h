// Reports a crash of this process as an error event with the stack trace of the crash.
#pragma once

#include "tav/tav.h"

// Installs a handler for unhandled exceptions. The library must run from before this call until
// after StopCrashReporter. Returns 0 if the system gives no thread.
int StartCrashReporter(const TavEntryTable* tav);

// To be called before Terminate.
void StopCrashReporter(void);
