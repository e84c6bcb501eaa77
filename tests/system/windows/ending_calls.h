// What a host's code does at the end of its process, when the library's thread no longer runs.
#pragma once

#include <tav/tav.h>

#include <cstring>

namespace Tav::Testing {

// Uses the library like a static destructor that has not heard of the end: reports, asks and
// terminates. Returns what was wrong; null if nothing was.
inline const char* CallAfterTheEnd(const TavEntryTable& tav) {
  tav.LogEvent(tav.NewEvent("late"));
  tav.LogPlace("late");
  TavSession_s* const session = tav.SessionBegin();
  tav.SessionEnd(session);
  tav.AddProductInfo("Late", "value");
  if (tav.Commit() != 1) {
    return "Commit sent something";
  }
  char id[64] = "unchanged";
  tav.GetEndpointIdentifier(id, sizeof id);
  if (std::strcmp(id, "") != 0) {
    return "an endpoint identifier";
  }
  if (tav.GetLastServerAccessTime() != -1 || tav.GetLastActiveTime() != -1) {
    return "a time";
  }
  if (tav.PullData() != nullptr) {
    return "data";
  }
  tav.PushData("data");
  tav.FreeData(nullptr);
  tav.Terminate();
  return nullptr;
}

}  // namespace Tav::Testing
