// The object behind the host's session handle.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "api/aggregates.h"
#include "model/handles.h"

// Made by TavSessionBegin, freed by TavSessionEnd. Its counters and statistics are not locked: the
// host feeds and flushes one session from one thread at a time.
struct TavSession_s {
  TavSession_s() = default;
  ~TavSession_s();
  TavSession_s(const TavSession_s&) = delete;
  TavSession_s& operator=(const TavSession_s&) = delete;

  uint32_t magic = Tav::kSessionOpen;
  Tav::SessionId id = Tav::NewSessionId();
  std::unique_ptr<Tav::AggregateCollection> aggregates;  // null until first use
};

namespace Tav {

// False for a null session, after the ERROR "Tav: <entryPoint> called with an invalid session".
bool CheckSession(const TavSession_s* session, const char* entryPoint);

// The identifier for events of `session`, valid as long as the session. Empty, which selects the
// implied session, after the ERROR above. The magic is not checked.
std::string_view SessionIdOf(const TavSession_s* session, const char* entryPoint);

}  // namespace Tav
