// Examples: explicit sessions, components.
#include "snippets.h"

void ShowSessions(const TavEntryTable* tav) {
  //! [SessionBegin]
  // One session for each open document.
  TavSession_s* document = tav->SessionBegin();
  //! [SessionBegin]

  //! [SessionNewEvent]
  TavEvent_s* printed = tav->SessionNewEvent(document, "Printed");
  tav->AddNumericEventProperty(printed, "Copies", 2.0);
  tav->LogEvent(printed);
  //! [SessionNewEvent]

  //! [SessionLogPlace] [SessionLogIdle]
  tav->SessionLogPlace(document, "OutlineView");
  tav->SessionLogIdle(document);
  //! [SessionLogPlace] [SessionLogIdle]

  //! [SessionNewCommandEvent]
  tav->LogEvent(tav->SessionNewCommandEvent(document, "Insert.Table"));
  //! [SessionNewCommandEvent]

  //! [SessionNewErrorEvent]
  TavEvent_s* error = tav->SessionNewErrorEvent(document, "E2001", "picture is damaged");
  tav->AddTraceItem(error, "DecodePicture", "pictures.dll", "");
  tav->LogEvent(error);
  //! [SessionNewErrorEvent]

  //! [SessionIncrementCounter] [SessionAggregateValue] [SessionFlushAggregates]
  tav->SessionIncrementCounter(document, "Keys", "Undo");
  tav->SessionAggregateValue(document, "Typing", "WordsPerMinute", 42.0);
  tav->SessionFlushAggregates(document);  // SessionEnd does this too
  //! [SessionIncrementCounter] [SessionAggregateValue] [SessionFlushAggregates]

  //! [SessionEnd]
  tav->SessionEnd(document);  // consumes the session
  document = NULL;
  //! [SessionEnd]
}

void ShowComponents(const TavEntryTable* tav) {
  //! [CreateComponentAnalytics] [TavComponent_s]
  // A plug-in reports under its own name: this event is "Spelling_Checked".
  TavComponent_s* spelling = tav->CreateComponentAnalytics();
  if (spelling != NULL) {
    spelling->SetComponent(spelling, "Spelling", "1.3");
    TavEvent_s* event = spelling->NewEvent(spelling, "Checked");
    spelling->AddNumericEventProperty(spelling, event, "Words", 830.0);
    spelling->LogEvent(spelling, event);
    spelling->Release(spelling);
  }
  //! [CreateComponentAnalytics] [TavComponent_s]
}
