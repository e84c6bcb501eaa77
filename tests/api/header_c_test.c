// The public header from C99: that it compiles there on its own, and that every member stands in
// the slot by which hosts in other languages, and hosts built years ago, call it. The lists below
// are the published order, kept apart from the header on purpose.
#include "tav/tav.h"

#include <stdio.h>

struct Member {
  const char* name;
  size_t offset;
};

#define SLOT(member) {#member, offsetof(TavEntryTable, member)}
static const struct Member kSlots[] = {SLOT(Initialize),
                                       SLOT(Terminate),
                                       SLOT(LogPlace),
                                       SLOT(LogEvent),
                                       SLOT(LogIdle),
                                       SLOT(NewEvent),
                                       SLOT(AddEventProperty),
                                       SLOT(NoOperation),
                                       SLOT(SessionBegin),
                                       SLOT(SessionEnd),
                                       SLOT(SessionNewEvent),
                                       SLOT(SessionLogPlace),
                                       SLOT(SessionLogIdle),
                                       SLOT(Suspend),
                                       SLOT(Resume),
                                       SLOT(CreateBackdoor),
                                       SLOT(AddProductInfo),
                                       SLOT(AddSessionEnvInfo),
                                       SLOT(SetAuxiliaryString),
                                       SLOT(EnableDebugLog),
                                       SLOT(SetMessageSink),
                                       SLOT(SetSendInterval),
                                       SLOT(SetCacheSize),
                                       SLOT(SetLineSink),
                                       SLOT(AddNumericEventProperty),
                                       SLOT(AddNumericProductInfo),
                                       SLOT(AddNumericSessionEnvInfo),
                                       SLOT(SetStateFlags),
                                       SLOT(Commit),
                                       SLOT(SetDebugFlags),
                                       SLOT(AddProductInfoValue),
                                       SLOT(NewMapValue),
                                       SLOT(NewListValue),
                                       SLOT(AddStringValue),
                                       SLOT(AddNumericValue),
                                       SLOT(AddListValue),
                                       SLOT(GetEndpointIdentifier),
                                       SLOT(SetVersionQualifier),
                                       SLOT(GetVersion),
                                       SLOT(PullData),
                                       SLOT(PushData),
                                       SLOT(FreeData),
                                       SLOT(IncrementCounter),
                                       SLOT(SessionIncrementCounter),
                                       SLOT(SetCustomerIdentifier),
                                       SLOT(SetUserIdentifier),
                                       SLOT(SetProductContext),
                                       SLOT(SetProductComponentName),
                                       SLOT(AggregateValue),
                                       SLOT(FlushAggregates),
                                       SLOT(SessionAggregateValue),
                                       SLOT(SessionFlushAggregates),
                                       SLOT(SetCacheDirectory),
                                       SLOT(CreateComponentAnalytics),
                                       SLOT(EnablePersistentInterval),
                                       SLOT(SetSendThreshold),
                                       SLOT(GetLastServerAccessTime),
                                       SLOT(GetLastActiveTime),
                                       SLOT(AddTag),
                                       SLOT(OptOut),
                                       SLOT(NewCommandEvent),
                                       SLOT(SessionNewCommandEvent),
                                       SLOT(NewErrorEvent),
                                       SLOT(SessionNewErrorEvent),
                                       SLOT(AddTraceItem)};

#define WORD(member) {#member, offsetof(TavComponent_s, member)}
static const struct Member kWords[] = {WORD(magic),
                                       WORD(IsVersionSupported),
                                       WORD(Release),
                                       WORD(SetComponent),
                                       WORD(NewEvent),
                                       WORD(AddEventProperty),
                                       WORD(AddNumericEventProperty),
                                       WORD(LogEvent),
                                       WORD(GetVersion),
                                       WORD(IncrementCounter),
                                       WORD(AggregateValue),
                                       WORD(name),
                                       WORD(version),
                                       WORD(NewCommandEvent),
                                       WORD(NewErrorEvent),
                                       WORD(AddTraceItem)};

static int CheckOrder(const char* record,
                      const struct Member* members,
                      size_t count,
                      size_t wantedCount) {
  int failures = 0;
  size_t i;
  if (count != wantedCount) {
    fprintf(stderr, "%s: %u members listed, not %u\n", record, (unsigned)count,
            (unsigned)wantedCount);
    ++failures;
  }
  for (i = 0; i < count; ++i) {
    if (members[i].offset != i * 8) {
      fprintf(stderr, "%s: %s stands at offset %u, not in place %u\n", record, members[i].name,
              (unsigned)members[i].offset, (unsigned)i);
      ++failures;
    }
  }
  return failures;
}

static const char* lastLine;

static void TAV_CALL KeepLine(const char* line) {
  lastLine = line;
}

// A sink goes into the table as a void pointer; the library calls it as a function again.
static int CheckSinkSurvivesTheTable(void) {
  static const char text[] = "a line";
  union {
    void* object;
    TavSink function;
  } pointer;
  pointer.object = TavSinkPointer(KeepLine);
  pointer.function(text);
  if (lastLine != text) {
    fprintf(stderr, "TavSinkPointer does not give the sink's address\n");
    return 1;
  }
  return 0;
}

int main(void) {
  int failures = 0;
  failures += CheckOrder("TavEntryTable", kSlots, sizeof(kSlots) / sizeof(kSlots[0]),
                         sizeof(TavEntryTable) / 8);
  failures += CheckOrder("TavComponent_s", kWords, sizeof(kWords) / sizeof(kWords[0]),
                         sizeof(TavComponent_s) / 8);
  failures += CheckSinkSurvivesTheTable();
  return failures == 0 ? 0 : 1;
}
