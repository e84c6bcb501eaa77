// The interface record of a component as code sees it that knows nothing of tav.h's TavComponent_s:
// sixteen words of 64 bits, called by their index. What is reported through it arrives in records
// of that component.
#include <stdint.h>
#include <string.h>

#include "system/slots.h"

enum {
  kMagic,
  kIsVersionSupported,
  kRelease,
  kSetComponent,
  kNewEvent,
  kAddEventProperty,
  kAddNumericEventProperty,
  kLogEvent,
  kGetVersion,
  kIncrementCounter,
  kAggregateValue,
  kName,
  kVersion,
  kNewCommandEvent,
  kNewErrorEvent,
  kAddTraceItem,
  kWords
};

// A record and the operations that its words hold.
typedef struct Component {
  TavComponent_s* self;
  bool(TAV_CALL* isVersionSupported)(TavComponent_s*, int version);
  void(TAV_CALL* release)(TavComponent_s*);
  void(TAV_CALL* setComponent)(TavComponent_s*, const char* name, const char* version);
  TavEvent_s*(TAV_CALL* newEvent)(TavComponent_s*, const char* name);
  void(TAV_CALL* addText)(TavComponent_s*, TavEvent_s*, const char* name, const char* value);
  void(TAV_CALL* addNumber)(TavComponent_s*, TavEvent_s*, const char* name, double value);
  void(TAV_CALL* logEvent)(TavComponent_s*, TavEvent_s*);
  const char*(TAV_CALL* getVersion)(TavComponent_s*);
  void(TAV_CALL* increment)(TavComponent_s*, const char* event, const char* property);
  void(TAV_CALL* aggregate)(TavComponent_s*, const char* event, const char* property, double value);
  TavEvent_s*(TAV_CALL* newCommand)(TavComponent_s*, const char* command);
  TavEvent_s*(TAV_CALL* newError)(TavComponent_s*, const char* code, const char* message);
  void(TAV_CALL* addTrace)(TavComponent_s*,
                           TavEvent_s*,
                           const char* location,
                           const char* library,
                           const char* meta);
} Component;

// Copies one word of a record, whatever it holds.
static void TakeWord(const TavComponent_s* record, int word, void* target) {
  memcpy(target, (const char*)record + word * 8, 8);
}

static uint64_t WordAt(const TavComponent_s* record, int word) {
  uint64_t value;
  TakeWord(record, word, &value);
  return value;
}

static Component NewComponent(const Slots* tav) {
  Component component;
  component.self = tav->CreateComponentAnalytics();
  TakeWord(component.self, kIsVersionSupported, &component.isVersionSupported);
  TakeWord(component.self, kRelease, &component.release);
  TakeWord(component.self, kSetComponent, &component.setComponent);
  TakeWord(component.self, kNewEvent, &component.newEvent);
  TakeWord(component.self, kAddEventProperty, &component.addText);
  TakeWord(component.self, kAddNumericEventProperty, &component.addNumber);
  TakeWord(component.self, kLogEvent, &component.logEvent);
  TakeWord(component.self, kGetVersion, &component.getVersion);
  TakeWord(component.self, kIncrementCounter, &component.increment);
  TakeWord(component.self, kAggregateValue, &component.aggregate);
  TakeWord(component.self, kNewCommandEvent, &component.newCommand);
  TakeWord(component.self, kNewErrorEvent, &component.newError);
  TakeWord(component.self, kAddTraceItem, &component.addTrace);
  return component;
}

// The text that a word points to; empty for none.
static const char* TextAt(const TavComponent_s* record, int word) {
  const char* text;
  TakeWord(record, word, &text);
  return text == NULL ? "" : text;
}

static void CheckTheWords(Component component) {
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
  // The record keeps copies, of what it is told first.
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
  // Refused: nothing comes of them.
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
  const Component nameless = NewComponent(&tav);
  CheckTheWords(viewer);
  printer.setComponent(printer.self, "Printer", NULL);

  ReportEverything(viewer);
  ReportOne(printer, "Start");
  tav.LogEvent(tav.NewEvent("HostsOwn"));
  ReportOne(nameless, "Nameless");
  ReportOne(viewer, "Close");
  nameless.increment(nameless.self, "Plain", "n");
  // What was counted outlives the record that counted it.
  printer.increment(printer.self, "Pages", "Printed");
  printer.release(printer.self);
  tav.FlushAggregates();
  CHECK(tav.Commit() == 0);
  viewer.release(&noRecord);

  // A record outlives the library's run; what is made through it then is lost, not leaked.
  viewer.increment(viewer.self, "Late", "n");
  tav.Terminate();
  ReportOne(viewer, "Lost");
  CHECK(viewer.isVersionSupported(viewer.self, 2));
  viewer.release(viewer.self);
  nameless.release(nameless.self);
  return CheckResult();
}
