// Reports how a Win32 application is used: which of its windows the user is in, which commands the
// user gives, and when the user pauses. Copy usage.c, usage.h and the files of examples/consent
// into an application.
//
// All functions are called on the thread of the windows. If tav.dll is missing or does not start,
// they do nothing. Only names that the application chose are reported, never titles or texts.
#pragma once

#include <windows.h>

#include "consent.h"
#include "tav/tav.h"

// The timer of the main window that ends when the user has paused.
enum { USAGE_TIMER = 0x7A5 };

typedef struct UsageCommand {
  UINT id;  // of the menu item or accelerator; 0 ends a list
  const char* name;
} UsageCommand;

typedef struct UsageApplication {
  const char* product;
  const char* version;
  const char* fullVersion;
  int language;                  // TAV_LANGUAGE_...
  const wchar_t* consentKey;     // see ReadConsent
  AskForConsent ask;             // called at the first start only
  const UsageCommand* commands;  // those to report
} UsageApplication;

// Loads tav.dll from the program's folder and starts it, opted out unless the user has consented.
// Call it when `window`, the main window, exists and is not shown yet. `application` is borrowed
// until UsageStop.
void UsageStart(const UsageApplication* application, HWND window);

// Call it in WM_ACTIVATE of each window that is a place. `place` is a constant text.
void UsageActivate(WPARAM wParam, const char* place);

// Call it in WM_COMMAND of each window that has commands.
void UsageCommandGiven(WPARAM wParam, LPARAM lParam);

// Call it in WM_TIMER of the main window.
void UsageTimer(WPARAM timer);

// Sends what it can and stops the library; waits for at most 10 seconds. Call it in WM_DESTROY of
// the main window, when all windows are closed, and in WM_ENDSESSION if the session ends: Windows
// then ends the process, and what could not be sent is sent by the next run. The second call does
// nothing.
void UsageStop(void);
