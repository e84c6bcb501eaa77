// Calls every entry point of the table, by position and by name, correctly and incorrectly: with
// null handles, consumed ones, handles of another kind and memory that is not a handle; before,
// during and after the library's run; all of it twice. The library must survive it, log each misuse
// once while it runs, and send everything that was reported correctly.
#include <stdint.h>
#include <string.h>

#include "system/slots.h"

enum { kMaxName = 255 };

// The library recognises a handle by a mark in memory, so it reads other objects as if they were
// handles. A build that checks the dynamic type of objects (UBSan) would stop there.
#ifdef TAV_TYPES_ARE_CHECKED
enum { kTypesAreChecked = 1 };
#else
enum { kTypesAreChecked = 0 };
#endif

static bool running;
// Log lines of this thread only; those of the session thread come at any time.
static unsigned lines;
static unsigned complaints;

static void TAV_CALL CountLine(const char* line) {
  if (OnHostThread()) {
    ++lines;
    complaints += strncmp(line, "error: ", 7) == 0 || strncmp(line, "warning: ", 9) == 0;
  }
}

static void CheckReported(unsigned before, const char* call, int line) {
  if (running) {
    CheckThat(complaints == before + 1, call, __FILE__, line);
  }
}

// Expects that the call logs one error or warning. Nothing is logged before the first start.
#define REFUSED(call)                       \
  do {                                      \
    const unsigned before = complaints;     \
    call;                                   \
    CheckReported(before, #call, __LINE__); \
  } while (0)

// The call logs one error or warning and still returns an event.
#define REFUSED_EVENT(call) \
  do {                      \
    TavEvent_s* made;       \
    REFUSED(made = call);   \
    tav->LogEvent(made);    \
  } while (0)

enum { kWords = 64 };

// The size of a handle's beginning, and the marks of a handle that the host may use, of one that it
// has passed to the library, and of a destroyed one.
enum { kHandleBytes = 64 };
static const uint32_t kLive = 0xDEAD123D;
static const uint32_t kConsumed = 0xDEAD123F;
static const uint32_t kDestroyed = 0;

// Fillings of memory that is not a handle: zeros, the marks of an ended session and of a component,
// ones, text.
static const uint64_t kNoHandles[] = {0, 0xDEAF123FDEAF123F, 0xDEADCACADEADCACA, UINT64_MAX,
                                      0x2E656C646E616820};
enum { kNoHandleCount = sizeof kNoHandles / sizeof kNoHandles[0] };

static char tooLong[kMaxName + 2];
static const char* const kBadNames[] = {NULL, "", " \t ", tooLong};
enum { kBadNameCount = sizeof kBadNames / sizeof kBadNames[0] };

// These take any object instead of an event, a map or a session.
static void RefuseAsEvent(const Slots* tav, void* object) {
  REFUSED(tav->LogEvent(object));
  REFUSED(tav->AddEventProperty(object, "Name", "text"));
  REFUSED(tav->AddNumericEventProperty(object, "Name", 1.0));
  REFUSED(tav->AddTraceItem(object, "location", "library", "meta"));
}

static void RefuseAsMap(const Slots* tav, void* object) {
  REFUSED(tav->AddStringValue(object, "Name", "text"));
  REFUSED(tav->AddNumericValue(object, "Name", 1.0));
}

static void RefuseAsSession(const Slots* tav, void* object) {
  REFUSED(tav->SessionLogPlace(object, "Place"));
  REFUSED(tav->SessionLogIdle(object));
}

static void CallWithNull(const Slots* tav) {
  RefuseAsEvent(tav, NULL);
  RefuseAsMap(tav, NULL);
  RefuseAsSession(tav, NULL);
  REFUSED(tav->AddListValue(NULL, "item"));
  REFUSED(tav->AddProductInfoValue("Key", NULL));
  REFUSED(tav->SessionEnd(NULL));
  tav->SessionIncrementCounter(NULL, "Group", "Counter");
  tav->SessionAggregateValue(NULL, "Event", "Property", 1.0);
  tav->SessionFlushAggregates(NULL);
}

// Copies a live handle to `memory` and changes its mark. (The memory of a consumed handle may have
// been freed.)
static void* CopyWithMark(const void* live, uint32_t mark, uint64_t* memory) {
  char* bytes = memset(memory, 0, kWords * sizeof *memory);
  int marks = 0;
  memcpy(bytes, live, kHandleBytes);
  for (int i = 0; i < kHandleBytes; i += (int)sizeof mark) {
    if (memcmp(bytes + i, &kLive, sizeof mark) == 0) {
      memcpy(bytes + i, &mark, sizeof mark);
      ++marks;
    }
  }
  CHECK(marks == 1);
  return memory;
}

static void CallWithConsumedHandles(const Slots* tav) {
  const uint32_t marks[] = {kConsumed, kDestroyed};
  uint64_t memory[kWords];
  TavEvent_s* event = tav->NewErrorEvent("Spent", NULL);
  TavValue_s* map = tav->NewMapValue();
  TavValue_s* list = tav->NewListValue();
  for (int i = 0; i < 2; ++i) {
    RefuseAsEvent(tav, CopyWithMark(event, marks[i], memory));
    RefuseAsMap(tav, CopyWithMark(map, marks[i], memory));
    REFUSED(tav->AddListValue(CopyWithMark(list, marks[i], memory), "item"));
  }
  // A consumed one would be freed, which is impossible with this memory.
  REFUSED(tav->AddProductInfoValue("Key", CopyWithMark(map, kDestroyed, memory)));
  tav->LogEvent(event);
  tav->AddProductInfoValue("Map", map);
  tav->AddProductInfoValue("List", list);
}

static void CallWithOtherMemory(const Slots* tav) {
  uint64_t memory[kWords];
  for (int filling = 0; filling < kNoHandleCount; ++filling) {
    for (int i = 0; i < kWords; ++i) {
      memory[i] = kNoHandles[filling];
    }
    RefuseAsEvent(tav, memory);
    RefuseAsMap(tav, memory);
    RefuseAsSession(tav, memory);
    REFUSED(tav->AddListValue((void*)memory, "item"));
    REFUSED(tav->AddProductInfoValue("Key", (void*)memory));
  }
}

static void CallWithOtherKinds(const Slots* tav) {
  TavEvent_s* event = tav->NewEvent("Kinds");
  TavEvent_s* command = tav->NewCommandEvent("Command");
  TavValue_s* map = tav->NewMapValue();
  TavValue_s* list = tav->NewListValue();
  TavSession_s* session = tav->SessionBegin();
  CHECK(event != NULL && command != NULL && map != NULL && list != NULL && session != NULL);

  RefuseAsEvent(tav, map);
  RefuseAsEvent(tav, list);
  RefuseAsMap(tav, list);
  RefuseAsMap(tav, event);
  RefuseAsSession(tav, event);
  RefuseAsSession(tav, map);
  REFUSED(tav->AddListValue(map, "item"));
  REFUSED(tav->AddListValue((void*)event, "item"));
  REFUSED(tav->AddProductInfoValue("Key", (void*)event));
  REFUSED(tav->AddTraceItem(event, "location", "library", "meta"));
  REFUSED(tav->AddTraceItem(command, "location", "library", "meta"));

  if (!kTypesAreChecked) {
    RefuseAsEvent(tav, session);
    RefuseAsMap(tav, session);
    REFUSED(tav->AddProductInfoValue("Key", (void*)session));
  }

  // The refused calls have not consumed or changed them.
  tav->LogEvent(event);
  tav->LogEvent(command);
  tav->AddStringValue(map, "Member", "text");
  tav->AddNumericValue(map, "Number", 2.0);
  tav->AddListValue(list, "item");
  tav->AddProductInfoValue("Map", map);
  tav->AddProductInfoValue("List", list);
  // A session with a damaged mark is refused, but freed.
  memset(session, 0, sizeof(uint32_t));
  REFUSED(tav->SessionEnd(session));
}

// Passes a bad name wherever a name is required.
static void CallWithBadName(const Slots* tav, const char* bad) {
  TavSession_s* session = tav->SessionBegin();
  TavEvent_s* event = tav->NewErrorEvent("E1", NULL);
  TavValue_s* map = tav->NewMapValue();

  REFUSED_EVENT(tav->NewEvent(bad));
  REFUSED_EVENT(tav->SessionNewEvent(session, bad));
  REFUSED_EVENT(tav->SessionNewEvent(NULL, "NoSession"));
  REFUSED_EVENT(tav->NewCommandEvent(bad));
  REFUSED_EVENT(tav->SessionNewCommandEvent(session, bad));
  REFUSED(tav->AddEventProperty(event, bad, "text"));
  REFUSED(tav->AddNumericEventProperty(event, bad, 1.0));
  REFUSED(tav->LogPlace(bad));
  REFUSED(tav->SessionLogPlace(session, bad));
  REFUSED(tav->AddStringValue(map, bad, "text"));
  REFUSED(tav->AddNumericValue(map, bad, 1.0));
  REFUSED(tav->AddProductInfo(bad, "text"));
  REFUSED(tav->AddNumericProductInfo(bad, 1.0));
  REFUSED(tav->AddProductInfoValue(bad, map));
  REFUSED(tav->AddSessionEnvInfo(bad, "text"));
  REFUSED(tav->AddNumericSessionEnvInfo(bad, 1.0));
  REFUSED(tav->IncrementCounter(bad, "Counter"));
  REFUSED(tav->IncrementCounter("Group", bad));
  REFUSED(tav->AggregateValue(bad, "Property", 1.0));
  REFUSED(tav->AggregateValue("Event", bad, 1.0));
  REFUSED(tav->SessionIncrementCounter(session, bad, "Counter"));
  REFUSED(tav->SessionIncrementCounter(session, "Group", bad));
  REFUSED(tav->SessionAggregateValue(session, bad, "Property", 1.0));
  REFUSED(tav->SessionAggregateValue(session, "Event", bad, 1.0));
  REFUSED(tav->SetCustomerIdentifier(bad));
  REFUSED(tav->SetUserIdentifier(bad));
  REFUSED(tav->SetProductContext(bad));
  REFUSED(tav->SetProductComponentName(bad));
  tav->AddTag(TAV_TAG_USER, bad);

  tav->AddProductInfoValue("Map", map);
  tav->LogEvent(event);
  tav->SessionEnd(session);
}

static void CallWithEmptyText(const Slots* tav, const char* empty) {
  TavSession_s* session = tav->SessionBegin();
  TavValue_s* list = tav->NewListValue();
  TavEvent_s* nameless;
  REFUSED(nameless = tav->NewErrorEvent(empty, "message"));
  tav->AddTraceItem(nameless, "location", "library", "meta");
  tav->LogEvent(nameless);
  REFUSED_EVENT(tav->SessionNewErrorEvent(session, empty, "message"));
  REFUSED(tav->AddListValue(list, empty));
  REFUSED(tav->SetCacheDirectory(empty));
  tav->SetAuxiliaryString(empty);
  tav->SetVersionQualifier(empty);
  tav->PushData(empty);
  tav->AddProductInfoValue("List", list);
  tav->SessionEnd(session);
}

// Settings out of bounds and within bounds. Terminate resets them.
static void CallSettings(const Slots* tav) {
  REFUSED(tav->SetCacheSize(0));
  REFUSED(tav->SetCacheSize(INT32_MIN));
  REFUSED(tav->SetSendThreshold(0));
  REFUSED(tav->SetSendThreshold(-1));
  REFUSED(tav->SetCacheDirectory("no/such/folder"));
  REFUSED(tav->AddTag(0, "Tag"));
  REFUSED(tav->AddTag(9, "Tag"));
  REFUSED(tav->AddTag(INT32_MIN, "Tag"));
  REFUSED(tav->AddProductInfo("a std-key", "reserved"));
  tav->SetCacheSize(INT32_MAX);
  tav->SetSendThreshold(INT32_MAX);
  tav->SetSendInterval(UINT32_MAX, TAV_UNIT_DAYS);
  tav->SetSendInterval(0, -1);
  tav->SetCacheDirectory(".");
  tav->SetAuxiliaryString("auxiliary");
  tav->SetVersionQualifier(tooLong);
  tav->SetCustomerIdentifier("customer");
  tav->SetUserIdentifier("user");
  tav->SetProductContext("context");
  tav->SetProductComponentName("component");
  tav->AddTag(TAV_TAG_EDITION, "Pro");
  tav->AddSessionEnvInfo("Licence", "Trial");
  tav->AddNumericSessionEnvInfo("Seats", 3.0);
  tav->SetStateFlags(1, 1);
  tav->SetStateFlags(0, 0);
  tav->SetDebugFlags(1);
  tav->SetDebugFlags(0);
  tav->EnablePersistentInterval();
  tav->EnableDebugLog();
  tav->OptOut();
  tav->SetLineSink(TavSinkPointer(CountLine));
  tav->SetLineSink(NULL);
  tav->SetMessageSink(NULL);
  tav->SetMessageSink(TavSinkPointer(CountLine));
}

// Destroys it through the table of functions to which its first word points.
static void FreeBackdoor(Backdoor* backdoor) {
  enum { kDestroy = 23 };
  void (*const* operations)(Backdoor*, int32_t);
  CHECK(backdoor != NULL);
  if (backdoor != NULL) {
    memcpy(&operations, backdoor, sizeof operations);
    operations[kDestroy](backdoor, 1);
  }
}

static void CallQueries(const Slots* tav) {
  char buffer[64];
  unsigned before;
  CHECK(strcmp(tav->GetVersion(), "2.8.2.1187559") == 0);
  before = lines;
  tav->NoOperation();
  CHECK(lines == before);
  memset(buffer, '?', sizeof buffer);
  tav->GetEndpointIdentifier(buffer, 8);
  CHECK(memchr(buffer, '\0', 8) != NULL && buffer[8] == '?');
  tav->GetEndpointIdentifier(NULL, 0);
  tav->FreeData(NULL);
  tav->PushData("no record");
  CHECK(running ? tav->GetLastServerAccessTime() >= 0 : tav->GetLastServerAccessTime() == -1);
  CHECK(running ? tav->GetLastActiveTime() >= 0 : tav->GetLastActiveTime() == -1);
  FreeBackdoor(tav->CreateBackdoor());
  if (running) {
    tav->GetEndpointIdentifier(buffer, sizeof buffer);
    CHECK(strlen(buffer) < sizeof buffer);
    CHECK(tav->Initialize("EverySlot", "1.0", "1.0.0", TAV_LANGUAGE_NONE) ==
          TAV_ALREADY_INITIALIZED);
  } else {
    CHECK(buffer[0] == '\0' && buffer[1] == '?');
    CHECK(tav->PullData() == NULL);
    CHECK(tav->Commit() == 0);
    CHECK(tav->CreateComponentAnalytics() == NULL);
    CHECK(tav->Initialize(NULL, NULL, NULL, -1) == TAV_BAD_PRODUCT);
    CHECK(tav->Initialize("No-Hyphens", "1.0", "1.0.0", TAV_LANGUAGE_EN_US) == TAV_BAD_PRODUCT);
    CHECK(tav->Initialize("EverySlot", tooLong, NULL, TAV_LANGUAGE_EN_US) == TAV_BAD_PRODUCT);
  }
}

// Calls each entry point that reports something, correctly.
static void Report(const Slots* tav) {
  TavSession_s* session = tav->SessionBegin();
  TavEvent_s* event = tav->NewEvent("Right");
  tav->AddEventProperty(event, "Text", NULL);
  tav->AddNumericEventProperty(event, "Number", 0.5);
  tav->LogEvent(event);
  tav->LogPlace("Place");
  tav->LogIdle();
  tav->SessionLogPlace(session, "SessionPlace");
  tav->SessionLogIdle(session);
  tav->LogEvent(tav->SessionNewEvent(session, "SessionRight"));
  tav->LogEvent(tav->SessionNewCommandEvent(session, "SessionCommand"));
  event = tav->SessionNewErrorEvent(session, "E2", "message");
  tav->AddTraceItem(event, "location", NULL, "");
  tav->LogEvent(event);
  tav->SessionIncrementCounter(session, "SessionCount", "n");
  tav->SessionFlushAggregates(session);
  tav->SessionAggregateValue(session, "SessionLoad", "v", 3.0);
  tav->SessionEnd(session);
  tav->IncrementCounter("Count", "n");
  tav->AggregateValue("Load", "v", 3.0);
  tav->FlushAggregates();
  tav->AddProductInfo("Key", "text");
  tav->AddNumericProductInfo("Number", 1.0);
}

static void PullAndPushARecord(const Slots* tav) {
  TavComponent_s* component = tav->CreateComponentAnalytics();
  char* block;
  CHECK(component != NULL);
  component->Release(component);
  CHECK(tav->Commit() == 0);
  tav->Suspend();
  tav->LogEvent(tav->NewEvent("Passed"));
  block = tav->PullData();
  CHECK(block != NULL && strncmp(block, "H4sI", 4) == 0);  // base64 of gzip
  tav->PushData(block);
  tav->FreeData(block);
  tav->Resume();
  CHECK(tav->Commit() == 0);
}

static void CallEverything(const Slots* tav) {
  CallWithNull(tav);
  CallWithConsumedHandles(tav);
  if (!kTypesAreChecked) {
    CallWithOtherMemory(tav);
  }
  CallWithOtherKinds(tav);
  for (int i = 0; i < kBadNameCount; ++i) {
    CallWithBadName(tav, kBadNames[i]);
  }
  CallWithEmptyText(tav, NULL);
  CallWithEmptyText(tav, "");
  CallSettings(tav);
  CallQueries(tav);
  Report(tav);
  if (running) {
    PullAndPushARecord(tav);
  } else {
    tav->Suspend();
    tav->Resume();
  }
}

static void RunOnce(const Slots* tav) {
  CallEverything(tav);
  tav->Terminate();
  tav->SetMessageSink(TavSinkPointer(CountLine));
  CHECK(tav->Initialize(" EverySlot ", "1.0", "1.0.0", TAV_LANGUAGE_EN_US) == TAV_OK);
  running = true;
  CallEverything(tav);
  CallEverything(tav);
  running = false;
  tav->Terminate();
  CallEverything(tav);
  CallEverything(tav);
  tav->Terminate();
  tav->Terminate();
}

int main(void) {
  const void* table = LoadEntryTable(13);
  memset(tooLong, 'x', kMaxName + 1);
  CHECK(table != NULL);
  CHECK(LoadEntryTable(13) == table);
  CHECK(LoadEntryTable(12) == NULL && LoadEntryTable(14) == NULL && LoadEntryTable(-13) == NULL);
  if (table != NULL) {
    const Slots byPosition = SlotsByPosition(table);
    const Slots byName = SlotsByName(table);
    CHECK(memcmp(&byPosition, &byName, sizeof byName) == 0);
    for (int i = 0; i < 2; ++i) {
      RunOnce(&byPosition);
      RunOnce(&byName);
    }
  }
  return CheckResult();
}
