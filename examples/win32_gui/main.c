// A small Win32 application that reports its use: the commands of a menu and an accelerator, two
// windows and pauses.
//
//   win32_gui_host                 shows its window
//   win32_gui_host --script RUN... for tests: runs once for each RUN, which is "close", "logoff" or
//                                  "refuse" (a user without consent who closes the window), and
//                                  posts itself what a user would do
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "usage.h"

enum { OPEN = 100, INSERT_DATE, PREFERENCES, CONTENTS };

// CONTENTS is not among them and not reported.
static const UsageCommand kCommands[] = {{OPEN, "File.Open"},
                                         {INSERT_DATE, "Edit.InsertDate"},
                                         {PREFERENCES, "View.Preferences"},
                                         {0, NULL}};
static const wchar_t kConsentKey[] = L"Software\\Quendel\\Win32GuiHost";

static const char* runOfTest = NULL;
static HWND preferences = NULL;

static Consent Ask(void) {
  if (runOfTest) {
    return strcmp(runOfTest, "refuse") == 0 ? CONSENT_REFUSED : CONSENT_GIVEN;
  }
  int button = MessageBoxW(NULL, L"May this application report which of its functions you use?",
                           L"Help to improve this application", MB_YESNO | MB_ICONQUESTION);
  return button == IDYES ? CONSENT_GIVEN : button == IDNO ? CONSENT_REFUSED : CONSENT_UNKNOWN;
}

static const UsageApplication kApplication = {"Win32GuiHost", "1.0", "1.0.0.1", TAV_LANGUAGE_EN_US,
                                              kConsentKey,    Ask,   kCommands};

static LRESULT CALLBACK OnPreferences(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_ACTIVATE:
      UsageActivate(wParam, "Preferences");
      break;
    case WM_DESTROY:
      preferences = NULL;
      break;
    default:
      break;
  }
  return DefWindowProcW(window, message, wParam, lParam);
}

static HWND Show(const wchar_t* name, HWND owner, HMENU menu, WNDPROC procedure) {
  WNDCLASSW class = {0};
  class.lpfnWndProc = procedure;
  class.hInstance = GetModuleHandleW(NULL);
  class.lpszClassName = name;
  class.hbrBackground = (HBRUSH)(COLOR_WINDOW + 1);
  RegisterClassW(&class);  // fails if it is registered
  return CreateWindowW(name, name, WS_OVERLAPPEDWINDOW | (owner ? WS_VISIBLE : 0), CW_USEDEFAULT,
                       CW_USEDEFAULT, 640, 480, owner, menu, class.hInstance, NULL);
}

static void Execute(HWND window, int command) {
  if (command == PREFERENCES && preferences) {
    DestroyWindow(preferences);
  } else if (command == PREFERENCES) {
    preferences = Show(L"Preferences", window, NULL, OnPreferences);
  }
  // The other commands do nothing in this example.
}

static LRESULT CALLBACK OnEditor(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_ACTIVATE:
      UsageActivate(wParam, "Editor");
      break;
    case WM_COMMAND:
      UsageCommandGiven(wParam, lParam);
      Execute(window, LOWORD(wParam));
      return 0;
    case WM_TIMER:
      UsageTimer(wParam);
      return 0;
    case WM_ENDSESSION:
      if (wParam) {
        UsageStop();
      }
      return 0;
    case WM_DESTROY:
      UsageStop();
      PostQuitMessage(0);
      return 0;
    default:
      break;
  }
  return DefWindowProcW(window, message, wParam, lParam);
}

static HMENU Menu(void) {
  HMENU commands = CreatePopupMenu();
  AppendMenuW(commands, MF_STRING, OPEN, L"&Open");
  AppendMenuW(commands, MF_STRING, INSERT_DATE, L"Insert &date\tF5");
  AppendMenuW(commands, MF_STRING, PREFERENCES, L"&Preferences");
  AppendMenuW(commands, MF_STRING, CONTENTS, L"&Contents of the help");
  HMENU bar = CreateMenu();
  AppendMenuW(bar, MF_POPUP, (UINT_PTR)commands, L"&Commands");
  return bar;
}

// Places, commands and an idle user, in this order.
static void PostScript(HWND window) {
  PostMessageW(window, WM_COMMAND, OPEN, 0);
  PostMessageW(window, WM_COMMAND, CONTENTS, 0);
  PostMessageW(window, WM_KEYDOWN, VK_F5, 0);
  PostMessageW(window, WM_COMMAND, PREFERENCES, 0);  // opens the window
  PostMessageW(window, WM_COMMAND, PREFERENCES, 0);  // closes it
  PostMessageW(window, WM_TIMER, USAGE_TIMER, 0);    // as if the timer had ended
  PostMessageW(window, WM_KEYDOWN, VK_SPACE, 0);
  if (strcmp(runOfTest, "logoff") == 0) {
    PostMessageW(window, WM_ENDSESSION, TRUE, 0);
    PostThreadMessageW(GetCurrentThreadId(), WM_QUIT, 0, 0);  // Windows would end the process
  } else {
    PostMessageW(window, WM_CLOSE, 0, 0);
  }
}

static int Run(void) {
  HWND window = Show(L"Writer", NULL, Menu(), OnEditor);
  ACCEL keys[] = {{FVIRTKEY, VK_F5, INSERT_DATE}};
  HACCEL accelerators = CreateAcceleratorTableW(keys, 1);
  if (!window || !accelerators) {
    fprintf(stderr, "no window: system error %lu\n", GetLastError());
    return 1;
  }
  UsageStart(&kApplication, window);
  ShowWindow(window, SW_SHOW);
  if (runOfTest) {
    PostScript(window);
  }
  MSG message;
  while (GetMessageW(&message, NULL, 0, 0) > 0) {
    if (!TranslateAcceleratorW(window, accelerators, &message)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }
  DestroyAcceleratorTable(accelerators);
  return 0;
}

int WINAPI WinMain(HINSTANCE instance, HINSTANCE previous, LPSTR commandLine, int show) {
  (void)instance, (void)previous, (void)commandLine, (void)show;
  if (__argc < 3 || strcmp(__argv[1], "--script") != 0) {
    return Run();
  }
  int status = 0;
  for (int i = 2; i < __argc && status == 0; ++i) {
    runOfTest = __argv[i];
    WriteConsent(kConsentKey, CONSENT_UNKNOWN);
    status = Run();
  }
  return status;
}
