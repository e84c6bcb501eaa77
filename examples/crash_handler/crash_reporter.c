// The crashed thread does next to nothing: it wakes a thread that was made in good times, and waits
// for it for a bounded time. That one may find the heap locked or broken, or the network slow. It
// then never comes back, and is left behind: the process ends all the same.
#include "crash_reporter.h"

#include <stdio.h>
#include <wchar.h>

#include <windows.h>

enum { kLongestWait = 5000 /* milliseconds */, kMostFrames = 50 };

static const TavEntryTable* tav;
static LPTOP_LEVEL_EXCEPTION_FILTER earlierFilter;
static HANDLE reporter, crashed, reported;
static EXCEPTION_POINTERS* crash;  // null when the thread is woken to end

// One frame as a trace item: the module, and the place in it, which its map or debug file explains.
static void AddFrame(TavEvent_s* event, DWORD64 address) {
  wchar_t path[MAX_PATH] = L"";
  char library[MAX_PATH * 3] = "";
  char place[32];
  HMODULE module = NULL;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      (LPCWSTR)address, &module);
  if (module != NULL) {
    GetModuleFileNameW(module, path, MAX_PATH - 1);
  }
  const wchar_t* name = wcsrchr(path, L'\\');
  WideCharToMultiByte(CP_UTF8, 0, name == NULL ? path : name + 1, -1, library, sizeof library, NULL,
                      NULL);
  snprintf(place, sizeof place, "+0x%llx", (unsigned long long)(address - (DWORD64)module));
  tav->AddTraceItem(event, place, library, NULL);
}

// Walks the crashed thread's stack, which stands still while that thread waits.
static void AddStack(TavEvent_s* event, CONTEXT context) {
  for (int frame = 0; frame < kMostFrames && context.Rip != 0; ++frame) {
    DWORD64 base, establisher;
    void* handlerData;
    AddFrame(event, context.Rip);
    PRUNTIME_FUNCTION function = RtlLookupFunctionEntry(context.Rip, &base, NULL);
    if (function != NULL) {
      RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, function, &context, &handlerData,
                       &establisher, NULL);
    } else {  // a function without a frame: only its return address is on the stack
      context.Rip = *(const DWORD64*)context.Rsp;
      context.Rsp += sizeof(DWORD64);
    }
  }
}

static DWORD WINAPI Report(void* unused) {
  (void)unused;
  WaitForSingleObject(crashed, INFINITE);
  if (crash != NULL) {
    char code[16];
    snprintf(code, sizeof code, "0x%08lX", crash->ExceptionRecord->ExceptionCode);
    TavEvent_s* event = tav->NewErrorEvent(code, "unhandled exception");
    AddStack(event, *crash->ContextRecord);
    tav->LogEvent(event);
    tav->Commit();  // sends it now; there is no later
    SetEvent(reported);
  }
  return 0;
}

static LONG WINAPI HandleCrash(EXCEPTION_POINTERS* pointers) {
  // Of several threads that crash at once, the first is reported.
  if (InterlockedCompareExchangePointer((void* volatile*)&crash, pointers, NULL) == NULL) {
    SetEvent(crashed);
  }
  WaitForSingleObject(reported, kLongestWait);
  // The system's own error reporting goes on, and ends the process.
  return earlierFilter != NULL ? earlierFilter(pointers) : EXCEPTION_CONTINUE_SEARCH;
}

int StartCrashReporter(const TavEntryTable* table) {
  tav = table;
  crashed = CreateEventW(NULL, FALSE, FALSE, NULL);
  reported = CreateEventW(NULL, TRUE, FALSE, NULL);
  reporter = CreateThread(NULL, 0, Report, NULL, 0, NULL);
  if (crashed == NULL || reported == NULL || reporter == NULL) {
    return 0;
  }
  earlierFilter = SetUnhandledExceptionFilter(HandleCrash);
  return 1;
}

void StopCrashReporter(void) {
  SetUnhandledExceptionFilter(earlierFilter);
  SetEvent(crashed);
  WaitForSingleObject(reporter, INFINITE);
  CloseHandle(reporter);
  CloseHandle(crashed);
  CloseHandle(reported);
}
