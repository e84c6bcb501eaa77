#include "system/slots.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifdef _WIN32
#include <windows.h>
#else
#include <pthread.h>
#endif

static int failures;

#ifdef _WIN32

static DWORD hostThread;

const void* LoadEntryTable(int version) {
  const char* path = getenv("TAV_TEST_LIBRARY");
  HMODULE library = LoadLibraryA(path == NULL ? "tav.dll" : path);
  FARPROC loader = library == NULL ? NULL : GetProcAddress(library, "TavLoader");
  if (loader == NULL) {
    fprintf(stderr, "no library with a TavLoader: error %lu\n", GetLastError());
    exit(2);
  }
  hostThread = GetCurrentThreadId();
  return ((const void*(TAV_CALL*)(int))(void (*)(void))loader)(version);
}

bool OnHostThread(void) {
  return GetCurrentThreadId() == hostThread;
}

#else

const TavEntryTable* TavLoader(int version);

static pthread_t hostThread;

const void* LoadEntryTable(int version) {
  hostThread = pthread_self();
  return TavLoader(version);
}

bool OnHostThread(void) {
  return pthread_equal(pthread_self(), hostThread) != 0;
}

#endif

Slots SlotsByPosition(const void* table) {
  const char* words = table;
  Slots slots;
#define TAV_TAKE(slot, member, result, arguments) \
  memcpy(&slots.member, words + (slot) * 8, sizeof slots.member);
  TAV_PUBLISHED_SLOTS(TAV_TAKE)
#undef TAV_TAKE
  return slots;
}

Slots SlotsByName(const TavEntryTable* table) {
  Slots slots;
#define TAV_TAKE(slot, member, result, arguments) slots.member = table->member;
  TAV_PUBLISHED_SLOTS(TAV_TAKE)
#undef TAV_TAKE
  return slots;
}

void CheckThat(bool holds, const char* what, const char* file, int line) {
  if (!holds) {
    fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, what);
    ++failures;
  }
}

int CheckResult(void) {
  if (failures != 0) {
    fprintf(stderr, "%d checks failed\n", failures);
    return 1;
  }
  puts("all checks hold");
  return 0;
}
