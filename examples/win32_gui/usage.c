#include "usage.h"

enum { IDLE_MILLISECONDS = 5 * 60 * 1000 };

static struct {
  HMODULE module;
  const TavEntryTable* tav;  // null unless the library runs
  const UsageApplication* application;
  HWND window;
  HHOOK hook;
  const char* place;
  BOOL idle;
} usage;

static const TavEntryTable* LoadTav(void) {
  usage.module = LoadLibraryExW(L"tav.dll", NULL, LOAD_LIBRARY_SEARCH_APPLICATION_DIR);
  // A function pointer converts through void (*)(void) without compiler warnings.
  TavLoaderFunction loader = usage.module ? (TavLoaderFunction)(void (*)(void))GetProcAddress(
                                                usage.module, TAV_LOADER_NAME)
                                          : NULL;
  return loader ? loader(TAV_INTERFACE_VERSION) : NULL;
}

// Keys, buttons and wheels. Mouse moves do not count: Windows also sends them when a window changes
// under a mouse that rests.
static BOOL IsInput(UINT message) {
  return (message >= WM_KEYFIRST && message <= WM_KEYLAST) ||
         (message >= WM_LBUTTONDOWN && message <= WM_MOUSELAST) ||
         (message >= WM_NCLBUTTONDOWN && message <= WM_NCMBUTTONDBLCLK);
}

static void NoteInput(void) {
  SetTimer(usage.window, USAGE_TIMER, IDLE_MILLISECONDS, NULL);  // starts it again
  if (usage.idle) {
    usage.idle = FALSE;
    if (usage.place) {
      usage.tav->LogPlace(usage.place);
    }
  }
}

// A hook sees the messages of modal loops too: those of dialogs, menus and window borders.
static LRESULT CALLBACK OnMessage(int code, WPARAM removed, LPARAM message) {
  if (code == HC_ACTION && removed == PM_REMOVE && IsInput(((const MSG*)message)->message)) {
    NoteInput();
  }
  return CallNextHookEx(NULL, code, removed, message);
}

void UsageStart(const UsageApplication* application, HWND window) {
  const TavEntryTable* tav = LoadTav();
  if (!tav) {
    return;
  }
  ApplyConsent(tav, application->consentKey, application->ask);
  if (tav->Initialize(application->product, application->version, application->fullVersion,
                      application->language) != TAV_OK) {
    return;
  }
  usage.tav = tav;
  usage.application = application;
  usage.window = window;
  usage.place = NULL;
  usage.idle = FALSE;
  usage.hook = SetWindowsHookExW(WH_GETMESSAGE, OnMessage, NULL, GetCurrentThreadId());
  NoteInput();
}

void UsageActivate(WPARAM wParam, const char* place) {
  if (usage.tav && LOWORD(wParam) != WA_INACTIVE) {
    usage.place = place;
    usage.tav->LogPlace(place);
  }
}

void UsageCommandGiven(WPARAM wParam, LPARAM lParam) {
  if (!usage.tav || lParam != 0) {  // lParam: a notification of a control
    return;
  }
  for (const UsageCommand* command = usage.application->commands; command->id != 0; ++command) {
    if (command->id == LOWORD(wParam)) {
      TavEvent_s* event = usage.tav->NewCommandEvent(command->name);
      usage.tav->AddEventProperty(event, "Source", HIWORD(wParam) == 1 ? "Accelerator" : "Menu");
      usage.tav->LogEvent(event);
      return;
    }
  }
}

void UsageTimer(WPARAM timer) {
  if (usage.tav && timer == USAGE_TIMER) {
    KillTimer(usage.window, USAGE_TIMER);
    usage.idle = TRUE;
    usage.tav->LogIdle();
  }
}

void UsageStop(void) {
  if (!usage.tav) {
    return;
  }
  KillTimer(usage.window, USAGE_TIMER);
  UnhookWindowsHookEx(usage.hook);
  usage.tav->Terminate();
  usage.tav = NULL;
  FreeLibrary(usage.module);
}
