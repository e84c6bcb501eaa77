// A host may fill an event before it initialises the library, and the event's first property is
// then the first JSON value of the process. A program of its own: the others put the JSON allocator
// in place before their tests run.
#include <cstdio>

#include "api/entry_points.h"

int main() {
  const TavEntryTable& tav = *TavLoader(TAV_INTERFACE_VERSION);
  TavEvent_s* const event = tav.NewEvent("early");
  tav.AddEventProperty(event, "key", "value");
  tav.LogEvent(event);  // freed by the allocator that made it; sanitizers watch
  std::puts("passed");
  return 0;
}
