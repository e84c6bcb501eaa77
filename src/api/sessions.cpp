// Explicit sessions, and the markers for places and idle times.
#include "api/sessions.h"

#include "api/entry_guard.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "model/record_keys.h"
#include "session/session_manager.h"
#include "util/handle_pool.h"
#include "util/logger.h"

using namespace Tav;

TavSession_s::~TavSession_s() {
  // Volatile, because stores into an object at the end of its life are otherwise optimised away,
  // and a stale handle could no longer be told from a live one.
  *const_cast<volatile uint32_t*>(&magic) = kSessionClosed;
  *const_cast<volatile char*>(id.text) = '\0';
}

namespace {

// The record of each live session. Pointers from hosts are looked up here before they are used.
constinit HandlePool<TavSession_s> sessions;

bool Check(bool isGood, const char* entryPoint) {
  if (!isGood) {
    LogError("Tav: %s called with an invalid session", entryPoint);
  }
  return isGood;
}

bool CheckOpen(const TavSession_s* session, const char* entryPoint) {
  return Check(sessions.IsLive(session) && session->magic == kSessionOpen, entryPoint);
}

bool CheckPlace(std::string_view place, const char* entryPoint) {
  if (IsValidName(place)) {
    return true;
  }
  LogError("Tav: %s called with an invalid place", entryPoint);
  return false;
}

void LogMarker(SessionManager& manager, std::string_view name, std::string_view sessionId) {
  if (TavEvent_s* const marker = CreateEvent(HandleKind::Marker, name, sessionId)) {
    manager.Log(marker);
  } else {
    LogOutOfMemory();
  }
}

void LogPlace(std::string_view place, std::string_view sessionId, const char* entryPoint) {
  if (SessionManager* const manager = RequireManager(entryPoint)) {
    TAV_TRACE("%s: Place = '%.*s'", entryPoint, TAV_VIEW(place));
    LogMarker(*manager, place, sessionId);
  }
}

struct FreeSession {
  void operator()(TavSession_s* session) const {
    session->~TavSession_s();
    sessions.Release(session);
  }
};

TavSession_s* BeginSession() {
  void* const memory = sessions.Acquire();
  if (memory == nullptr) {
    LogOutOfMemory();
    return nullptr;
  }
  auto* const session = ::new (memory) TavSession_s;
  if (SessionManager* const manager = RequireManager("TavSessionBegin")) {
    LogMarker(*manager, Key::kSessionBegin, session->id.View());
  }
  return session;
}

void EndSession(TavSession_s* session) {
  constexpr char kEntryPoint[] = "TavSessionEnd";
  if (!Check(sessions.Claim(session), kEntryPoint)) {
    return;
  }
  // A live session is freed whatever the other checks say.
  const std::unique_ptr<TavSession_s, FreeSession> owned(session);
  if (!Check(session->magic == kSessionOpen, kEntryPoint)) {
    return;
  }
  if (SessionManager* const manager = RequireManager(kEntryPoint)) {
    FlushAggregatesOf(*session);
    LogMarker(*manager, Key::kSessionEnd, session->id.View());
  }
}

}  // namespace

namespace Tav {

bool CheckSession(const TavSession_s* session, const char* entryPoint) {
  return Check(sessions.IsLive(session), entryPoint);
}

std::string_view SessionIdOf(const TavSession_s* session, const char* entryPoint) {
  return CheckSession(session, entryPoint) ? session->id.View() : std::string_view();
}

size_t LiveSessions() {
  return sessions.LiveCount();
}

}  // namespace Tav

TavSession_s* TAV_CALL TavSessionBegin() {
  return Boundary<TavSession_s*>(nullptr, [] { return BeginSession(); });
}

void TAV_CALL TavSessionEnd(TavSession_s* session) {
  Boundary([&] { EndSession(session); });
}

void TAV_CALL TavLogPlace(const char* place) {
  Boundary([&] {
    constexpr char kEntryPoint[] = "TavLogPlace";
    const Utf8Text text(place, true);
    if (CheckPlace(text.View(), kEntryPoint)) {
      LogPlace(text.View(), {}, kEntryPoint);
    }
  });
}

void TAV_CALL TavSessionLogPlace(TavSession_s* session, const char* place) {
  Boundary([&] {
    constexpr char kEntryPoint[] = "TavSessionLogPlace";
    const Utf8Text text(place, true);
    if (CheckPlace(text.View(), kEntryPoint) && CheckOpen(session, kEntryPoint)) {
      LogPlace(text.View(), session->id.View(), kEntryPoint);
    }
  });
}

void TAV_CALL TavLogIdle() {
  Boundary([] {
    if (SessionManager* const manager = RequireManager("TavLogIdle")) {
      LogMarker(*manager, Key::kIdle, {});
    }
  });
}

void TAV_CALL TavSessionLogIdle(TavSession_s* session) {
  Boundary([&] {
    if (!CheckOpen(session, "TavSessionLogIdle")) {
      return;
    }
    if (SessionManager* const manager = Manager()) {
      LogMarker(*manager, Key::kIdle, session->id.View());
    } else {
      // "session", unlike the other messages; tools of hosts match the text.
      LogError("Tav: TavSessionLogIdle called with no session defined");
    }
  });
}
