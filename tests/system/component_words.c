// Uses the interface record of a component without TavComponent_s of tav.h: as sixteen words of 64
// bits, found by index. What is reported through it arrives in records of that component.
#include <stdint.h>
#include <string.h>

#include "system/slots.h"

enum { kMagic = 0, kName = 11, kVersion = 12, kWords = 16 };

// OPERATION(word, name, result, arguments) for each function pointer in the record.
#define OPERATIONS(OPERATION)                                                           \
  OPERATION(1, isVersionSupported, bool, (TavComponent_s*, int))                        \
  OPERATION(2, release, void, (TavComponent_s*))                                        \
  OPERATION(3, setComponent, void, (TavComponent_s*, const char*, const char*))         \
  OPERATION(4, newEvent, TavEvent_s*, (TavComponent_s*, const char*))                   \
  OPERATION(5, addText, void, (TavComponent_s*, TavEvent_s*, const char*, const char*)) \
  OPERATION(6, addNumber, void, (TavComponent_s*, TavEvent_s*, const char*, double))    \
  OPERATION(7, logEvent, void, (TavComponent_s*, TavEvent_s*))                          \
  OPERATION(8, getVersion, const char*, (TavComponent_s*))                              \
  OPERATION(9, increment, void, (TavComponent_s*, const char*, const char*))            \
  OPERATION(10, aggregate, void, (TavComponent_s*, const char*, const char*, double))   \
  OPERATION(13, newCommand, TavEvent_s*, (TavComponent_s*, const char*))                \
  OPERATION(14, newError, TavEvent_s*, (TavComponent_s*, const char*, const char*))     \
  OPERATION(15, addTrace, void,                                                         \
            (TavComponent_s*, TavEvent_s*, const char*, const char*, const char*))

typedef struct Component {
  TavComponent_s* self;
#define MEMBER(word, name, result, arguments) result(TAV_CALL* name) arguments;
  OPERATIONS(MEMBER)
} Component;

// Copies one word of a record.
static void CopyWord(const TavComponent_s* record, int word, void* target) {
  memcpy(target, (const char*)record + word * 8, 8);
}

static uint64_t WordAt(const TavComponent_s* record, int word) {
  uint64_t value;
  CopyWord(record, word, &value);
  return value;
}

static Component NewComponent(const Slots* tav) {
  Component component;
  component.self = tav->CreateComponentAnalytics();
#define COPY(word, name, result, arguments) CopyWord(component.self, word, &component.name);
  OPERATIONS(COPY)
  return component;
}

// The text that a word points to; empty if it is null.
static const char* TextAt(const TavComponent_s* record, int word) {
  const char* text;
  CopyWord(record, word, &text);
  return text == NULL ? "" : text;
}

static void CheckWords(Component component) {
  char name[] = "Viewer";
  for (int word = 0; word < kWords; ++word) {
    CHECK((WordAt(component.self, word) == 0) == (word == kName || word == kVersion));
  }
  CHECK(WordAt(component.self, kMagic) == 0xDEADCACA);
  CHECK(!component.isVersionSupported(component.self, 0));
  CHECK(component.isVersionSupported(component.self, 1));
  CHECK(component.isVersionSupported(component.self, 2));
  CHECK(!component.isVersionSupported(component.self, 3));
  CHECK(strcmp(component.getVersion(component.self), "2.8.2.1187559") == 0);
  // The record copies the first name that it gets.
  component.setComponent(component.self, name, "3.1");
  memset(name, 'x', sizeof name - 1);
  component.setComponent(component.self, "Other", "4.0");
  CHECK(strcmp(TextAt(component.self, kName), "Viewer") == 0);
  CHECK(strcmp(TextAt(component.self, kVersion), "3.1") == 0);
  CHECK(WordAt(component.self, kMagic) == 0xDEADCACA);
}

static void ReportEverything(Component component) {
  TavComponent_s* self = component.self;
  TavEvent_s* event = component.newEvent(self, "Open");
  component.addText(self, event, "File", "a.pdf");
  component.addNumber(self, event, "Pages", 12.0);
  component.logEvent(self, event);
  component.logEvent(self, component.newCommand(self, "Paste"));
  event = component.newError(self, "E7", "cannot paste");
  component.addTrace(self, event, "Paste+12", "viewer.dll", "");
  component.addTrace(self, event, "", "host.exe", "main");
  component.logEvent(self, event);
  for (int i = 0; i < 3; ++i) {
    component.increment(self, "Menu", "Open");
  }
  component.aggregate(self, "Load", "Cpu", 3.0);
  component.aggregate(self, "Load", "Cpu", 5.0);
  // Refused; these have no effect.
  component.logEvent(self, NULL);
  component.logEvent(self, component.newError(self, "", "no code"));
  component.increment(self, "", "Open");
  component.aggregate(self, "Load", NULL, 1.0);
}

static void ReportOne(Component component, const char* name) {
  component.logEvent(component.self, component.newEvent(component.self, name));
}

int main(void) {
  TavComponent_s noRecord;
  memset(&noRecord, 0, sizeof noRecord);
  const Slots tav = SlotsByPosition(LoadEntryTable(13));
  CHECK(tav.CreateComponentAnalytics() == NULL);
  CHECK(tav.Initialize("ComponentWords", "1.0", "1.0.0", TAV_LANGUAGE_EN_US) == TAV_OK);
  const Component viewer = NewComponent(&tav);
  const Component printer = NewComponent(&tav);
  const Component newViewer = NewComponent(&tav);
  const Component nameless = NewComponent(&tav);
  CheckWords(viewer);
  printer.setComponent(printer.self, "Printer", NULL);
  newViewer.setComponent(newViewer.self, "Viewer", "4.0");

  ReportEverything(viewer);
  ReportOne(printer, "Start");
  tav.LogEvent(tav.NewEvent("HostsOwn"));
  ReportOne(nameless, "Nameless");
  ReportOne(newViewer, "Open");
  ReportOne(viewer, "Close");
  nameless.increment(nameless.self, "Plain", "n");
  // Counters outlive the record through which they were counted.
  printer.increment(printer.self, "Pages", "Printed");
  printer.release(printer.self);
  tav.FlushAggregates();
  CHECK(tav.Commit() == 0);
  viewer.release(&noRecord);

  // The record is still valid after Terminate; events made through it are dropped, not leaked.
  viewer.increment(viewer.self, "Late", "n");
  tav.Terminate();
  ReportOne(viewer, "Lost");
  CHECK(viewer.isVersionSupported(viewer.self, 2));
  viewer.release(viewer.self);
  newViewer.release(newViewer.self);
  nameless.release(nameless.self);
  return CheckResult();
}
