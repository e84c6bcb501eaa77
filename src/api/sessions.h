// The object behind the host's session handle.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "api/aggregates.h"
#include "model/handles.h"

// Made by TavSessionBegin, freed by TavSessionEnd; its memory stays recognisable. Its counters and
// statistics are not locked: the host feeds and flushes one session from one thread at a time.
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

// Whether the pointer is a session that has begun and not ended; if not, logs the ERROR "Tav:
// <entryPoint> called with an invalid session". Any pointer is allowed. The magic is not checked.
bool CheckSession(const TavSession_s* session, const char* entryPoint);

// The identifier for events of `session`, valid as long as the session. Empty, which selects the
// implied session, if CheckSession fails.
std::string_view SessionIdOf(const TavSession_s* session, const char* entryPoint);

// Reports the session's counters and statistics, and starts them anew.
void FlushAggregatesOf(TavSession_s& session);

// The sessions that exist, for tests: no leak checker looks into their memory.
size_t LiveSessions();

}  // namespace Tav
