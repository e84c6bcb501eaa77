// Examples: events, commands, errors, places, counters.
#include "snippets.h"

void ShowEvents(const TavEntryTable* tav) {
  //! [NewEvent] [AddEventProperty] [AddNumericEventProperty] [LogEvent]
  TavEvent_s* event = tav->NewEvent("DocumentOpened");
  tav->AddEventProperty(event, "Format", "PDF");
  tav->AddNumericEventProperty(event, "Pages", 12.0);
  tav->LogEvent(event);  // consumes the event: do not use it again
  //! [NewEvent] [AddEventProperty] [AddNumericEventProperty] [LogEvent]
}

void ShowCommandsAndErrors(const TavEntryTable* tav) {
  //! [NewCommandEvent]
  TavEvent_s* command = tav->NewCommandEvent("Edit.Paste");
  tav->AddEventProperty(command, "Source", "Toolbar");
  tav->LogEvent(command);
  //! [NewCommandEvent]

  //! [NewErrorEvent] [AddTraceItem]
  TavEvent_s* error = tav->NewErrorEvent("E1042", "cannot save");
  tav->AddTraceItem(error, "SaveDocument+0x1c", "editor.exe", "line 318");
  tav->AddTraceItem(error, "OnSave+0x40", "editor.exe", "");
  tav->LogEvent(error);  // sent with the places and commands before it
  //! [NewErrorEvent] [AddTraceItem]
}

void ShowPlaces(const TavEntryTable* tav) {
  //! [LogPlace]
  tav->LogPlace("Preferences");
  //! [LogPlace]

  //! [LogIdle]
  // No key or mouse button for five minutes.
  tav->LogIdle();
  //! [LogIdle]
}

void ShowCounters(const TavEntryTable* tav) {
  const double secondsToLoad = 1.25;
  //! [IncrementCounter]
  // Often and cheap: nothing is sent before a flush. Here "Menu" becomes an event with "Open": 1.
  tav->IncrementCounter("Menu", "Open");
  //! [IncrementCounter]

  //! [AggregateValue]
  // Sum, count, maximum, minimum and average of "Seconds", in one event "Load".
  tav->AggregateValue("Load", "Seconds", secondsToLoad);
  //! [AggregateValue]

  //! [FlushAggregates]
  // Terminate does this too. A host that runs for days calls it now and then, because numbers that
  // were not flushed are lost when the process dies.
  tav->FlushAggregates();
  //! [FlushAggregates]
}
