// The record behind the host's session handle.
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

// The id for what is made in `session`, valid as long as the session, whose mark is not looked at.
// Empty, which stands for the implied session, after an ERROR for a null session.
std::string_view SessionIdOf(const TavSession_s* session, const char* entryPoint);

}  // namespace Tav
