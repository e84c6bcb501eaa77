// The crashed thread only wakes the reporter thread, which was created at the start, and waits for
// it for a limited time. If the heap is locked or damaged, the reporter may never finish; the
// process then ends without it. Once LogEvent has returned, the event survives the end of the
// process and the next run sends it.
#include "crash_reporter.h"

#include <stdio.h>
#include <wchar.h>

#include <windows.h>

enum { kMaxWaitMilliseconds = 5000, kMaxFrames = 50 };

static const TavEntryTable* tav;
static LPTOP_LEVEL_EXCEPTION_FILTER earlierFilter;
static HANDLE reporter, crashed, reported;
static EXCEPTION_POINTERS* crash;  // null: StopCrashReporter has woken the reporter

// Adds one frame as a trace item: the module and the offset in it, to be looked up in the module's
// map or debug file.
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

// Walks the stack of the crashed thread, which does not change while that thread waits.
static void AddStack(TavEvent_s* event, CONTEXT context) {
  for (int frame = 0; frame < kMaxFrames && context.Rip != 0; ++frame) {
    DWORD64 base, establisher;
    void* handlerData;
    AddFrame(event, context.Rip);
    PRUNTIME_FUNCTION function = RtlLookupFunctionEntry(context.Rip, &base, NULL);
    if (function != NULL) {
      RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, function, &context, &handlerData,
                       &establisher, NULL);
    } else {  // a leaf function: its return address is on top of the stack
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
    tav->Commit();  // optional: sends it now, not with the next run; may take long
    SetEvent(reported);
  }
  return 0;
}

static LONG WINAPI HandleCrash(EXCEPTION_POINTERS* pointers) {
  // If several threads crash at once, only the first is reported.
  if (InterlockedCompareExchangePointer((void* volatile*)&crash, pointers, NULL) == NULL) {
    SetEvent(crashed);
  }
  WaitForSingleObject(reported, kMaxWaitMilliseconds);
  // The system's error reporting follows and ends the process.
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
