// Events in a log, without a queue.
#pragma once

#include <optional>

#include "journal/event_log.h"
#include "model/handles.h"
#include "session/encoded_event.h"

namespace Tav::Testing {

// Appends the event to the log and frees it.
inline EventReader::Item AppendTo(EventLog& log, TavEvent_s* event) {
  const EventLog::Position before = log.End();
  log.Append(EncodedEvent(*event).Bytes());
  FreeHandle(event);
  return log.Reader().Next(before, log.End()).value();
}

}  // namespace Tav::Testing
