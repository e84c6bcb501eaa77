// A host that asks its user once whether it may report, remembers the answer and starts the library
// opted out or not.
//
//   consent_host               asks in a message box
//   consent_host ANSWER...     for tests: one run of the library for each ANSWER, which is "yes" or
//                              "no" if the user is asked; "forget" forgets the remembered answer
#include <stdio.h>
#include <string.h>
#include <windows.h>

#include "consent.h"

static const wchar_t kKey[] = L"Software\\Quendel\\ConsentHost";
static const char* answerOfTest = NULL;

static Consent Ask(void) {
  if (answerOfTest != NULL) {
    return strcmp(answerOfTest, "yes") == 0 ? CONSENT_GIVEN : CONSENT_REFUSED;
  }
  int button = MessageBoxW(NULL,
                           L"May this application report which of its functions you use? No texts "
                           L"of yours are sent. You can change your answer in the settings.",
                           L"Help to improve this application", MB_YESNO | MB_ICONQUESTION);
  return button == IDYES ? CONSENT_GIVEN : button == IDNO ? CONSENT_REFUSED : CONSENT_UNKNOWN;
}

static void RunOnce(const TavEntryTable* tav) {
  Consent consent = ApplyConsent(tav, kKey, Ask);
  if (tav->Initialize("ConsentHost", "1.0", "1.0.0.1", TAV_LANGUAGE_EN_US) != TAV_OK) {
    fprintf(stderr, "Tav does not start, see docs/integration.md\n");
    return;
  }
  // The application reports in the same way whatever the user has answered.
  tav->LogEvent(tav->NewEvent("ApplicationStarted"));
  tav->Terminate();
  printf("%s\n", consent == CONSENT_GIVEN ? "reported" : "opted out");
}

int main(int argc, char** argv) {
  HMODULE module = LoadLibraryExW(L"tav.dll", NULL, LOAD_LIBRARY_SEARCH_APPLICATION_DIR);
  TavLoaderFunction loader =
      module ? (TavLoaderFunction)(void (*)(void))GetProcAddress(module, TAV_LOADER_NAME) : NULL;
  const TavEntryTable* tav = loader ? loader(TAV_INTERFACE_VERSION) : NULL;
  if (tav == NULL) {
    fprintf(stderr, "tav.dll is missing or serves another interface version\n");
    return 1;
  }
  if (argc < 2) {
    RunOnce(tav);
  }
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "forget") == 0) {
      WriteConsent(kKey, CONSENT_UNKNOWN);
      continue;
    }
    answerOfTest = argv[i];
    RunOnce(tav);
  }
  FreeLibrary(module);
  return 0;
}
