#include "consent.h"

#include <windows.h>

static const wchar_t kValue[] = L"UsageAnalytics";

Consent ReadConsent(const wchar_t* key) {
  DWORD answer = 0;
  DWORD size = sizeof(answer);
  if (RegGetValueW(HKEY_CURRENT_USER, key, kValue, RRF_RT_REG_DWORD, NULL, &answer, &size) !=
      ERROR_SUCCESS) {
    return CONSENT_UNKNOWN;
  }
  return answer == 1 ? CONSENT_GIVEN : CONSENT_REFUSED;
}

int WriteConsent(const wchar_t* key, Consent consent) {
  if (consent == CONSENT_UNKNOWN) {
    LSTATUS status = RegDeleteKeyValueW(HKEY_CURRENT_USER, key, kValue);
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
  }
  DWORD answer = consent == CONSENT_GIVEN ? 1 : 0;
  return RegSetKeyValueW(HKEY_CURRENT_USER, key, kValue, REG_DWORD, &answer, sizeof(answer)) ==
         ERROR_SUCCESS;
}

Consent ApplyConsent(const TavEntryTable* tav, const wchar_t* key, AskForConsent ask) {
  Consent consent = ReadConsent(key);
  if (consent == CONSENT_UNKNOWN) {
    consent = ask();
    // An answer that cannot be written holds for this run, and the next one asks again.
    (void)WriteConsent(key, consent);
  }
  if (consent != CONSENT_GIVEN) {
    tav->OptOut();
  }
  return consent;
}
