// A plug-in that counts words and reports under its own name and version, through the component
// record from its host.
#include <stddef.h>
#include <string.h>

#include "plugin.h"

#define EXPORT __declspec(dllexport)

static TavComponent_s* analytics;

EXPORT void PluginAttach(TavComponent_s* record);
EXPORT void PluginRun(const char* text);
EXPORT void PluginDetach(void);

void PluginAttach(TavComponent_s* record) {
  // Version 2 of the component interface has all operations up to word 15.
  if (record != NULL && record->IsVersionSupported(record, 2)) {
    analytics = record;
    analytics->SetComponent(analytics, "WordCount", "1.3");
  }
}

static int CountWords(const char* text) {
  int words = 0;
  for (text += strspn(text, " "); *text != '\0'; text += strspn(text, " ")) {
    text += strcspn(text, " ");
    ++words;
  }
  return words;
}

static void ReportEmptyText(void) {
  TavEvent_s* error = analytics->NewErrorEvent(analytics, "WC-1", "nothing to count");
  analytics->AddTraceItem(analytics, error, "PluginRun", "word_count.dll", NULL);
  analytics->LogEvent(analytics, error);
}

void PluginRun(const char* text) {
  int words = CountWords(text);
  if (analytics == NULL) {
    return;
  }
  // Frequent actions are counted and reported as one event.
  analytics->IncrementCounter(analytics, "Usage", "Runs");
  analytics->AggregateValue(analytics, "Usage", "Words", words);
  if (words == 0) {
    ReportEmptyText();
    return;
  }
  // Rare actions are reported one by one. This event arrives as "WordCount_Counted".
  TavEvent_s* event = analytics->NewEvent(analytics, "Counted");
  analytics->AddNumericEventProperty(analytics, event, "Words", words);
  analytics->LogEvent(analytics, event);
}

void PluginDetach(void) {
  if (analytics != NULL) {
    analytics->Release(analytics);
    analytics = NULL;
  }
}
