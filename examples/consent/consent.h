// A user's consent to analytics: asked once, remembered for this user in the registry, and applied
// before the library starts. Copy consent.c and consent.h into an application.
#pragma once

#include "tav/tav.h"

typedef enum Consent {
  CONSENT_UNKNOWN,  // never asked, or the answer cannot be read
  CONSENT_GIVEN,
  CONSENT_REFUSED,
} Consent;

// Shows the application's question and returns the answer; CONSENT_UNKNOWN if the user closed the
// question without an answer. May block.
typedef Consent (*AskForConsent)(void);

// The remembered answer. `key` is a registry key of the application below HKEY_CURRENT_USER, such
// as L"Software\\Quendel\\Writer".
Consent ReadConsent(const wchar_t* key);

// Remembers the answer; CONSENT_UNKNOWN forgets it, so that the user is asked again. Returns 0 on
// failure.
int WriteConsent(const wchar_t* key, Consent consent);

// Call it before each Initialize. Asks unless there is an answer, remembers the answer, and opts
// out unless consent was given: without an answer nothing may be reported.
//
// For a user whose answer changes while the library runs: WriteConsent, then Terminate,
// ApplyConsent, Initialize.
Consent ApplyConsent(const TavEntryTable* tav, const wchar_t* key, AskForConsent ask);
