// Explicit sessions, and the markers that say where the user is and when nobody is there.
#include "api/sessions.h"

#include "api/arguments.h"
#include "api/boundary.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "model/record_keys.h"
#include "session/session_manager.h"
#include "util/logger.h"

using namespace Tav;

TavSession_s::~TavSession_s() {
  // Volatile, because stores into an object at the end of its life are otherwise optimised away,
  // and a stale handle could no longer be told from a live one.
  *const_cast<volatile uint32_t*>(&magic) = kSessionClosed;
  *const_cast<volatile char*>(id.text) = '\0';
}

namespace Tav {

std::string_view SessionIdOf(const TavSession_s* session, const char* entryPoint) {
  if (session == nullptr) {
    LogError("Tav: %s called with an invalid session", entryPoint);
    return {};
  }
  return session->id.View();
}

}  // namespace Tav

namespace {

bool IsOpen(const TavSession_s* session) {
  return session != nullptr && session->magic == kSessionOpen;
}

void LogMarker(SessionManager& manager, std::string_view name, std::string_view sessionId) {
  if (TavEvent_s* const marker = CreateEvent(HandleKind::Marker, name, sessionId)) {
    manager.Log(marker);
  } else {
    LogError("Tav: Out of memory");
  }
}

void EndSession(TavSession_s* session) {
  // Whatever the checks say, the record is gone afterwards.
  const std::unique_ptr<TavSession_s> owned(session);
  if (!IsOpen(session)) {
    LogError("Tav: TavSessionEnd called with an invalid session");
    return;
  }
  SessionManager* const manager = Manager();
  if (manager == nullptr) {
    LogError("Tav: TavSessionEnd called with no manager defined");
    return;
  }
  TavSessionFlushAggregates(session);
  LogMarker(*manager, Key::kSessionEnd, session->id.View());
}

void LogSessionPlace(const TavSession_s* session, const char* place) {
  const Utf8Text text(place, true);
  if (!IsValidName(text.View())) {
    LogError("Tav: TavSessionLogPlace called with an invalid place");
    return;
  }
  if (!IsOpen(session)) {
    LogError("Tav: TavSessionLogPlace called with an invalid session");
    return;
  }
  SessionManager* const manager = Manager();
  if (manager == nullptr) {
    LogError("Tav: TavSessionLogPlace called with no manager defined");
    return;
  }
  TAV_TRACE("TavSessionLogPlace: Place = '%.*s'", TAV_VIEW(text.View()));
  LogMarker(*manager, text.View(), session->id.View());
}

}  // namespace

TavSession_s* TAV_CALL TavSessionBegin() {
  return Boundary<TavSession_s*>(nullptr, [] {
    auto* const session = new TavSession_s;
    if (SessionManager* const manager = Manager()) {
      LogMarker(*manager, Key::kSessionBegin, session->id.View());
    } else {
      LogError("Tav: TavSessionBegin called with no manager defined");
    }
    return session;
  });
}

void TAV_CALL TavSessionEnd(TavSession_s* session) {
  Boundary([&] { EndSession(session); });
}

TavEvent_s* TAV_CALL TavSessionNewEvent(TavSession_s* session, const char* name) {
  return Boundary<TavEvent_s*>(nullptr, [&] {
    const std::string_view sessionId = SessionIdOf(session, "TavSessionNewEvent");
    const Utf8Text text(name, true);
    if (!IsValidName(text.View())) {
      LogError("Tav: TavSessionNewEvent called with an invalid event");
      return CreateEvent(HandleKind::Event, {}, sessionId);
    }
    return CreateEvent(HandleKind::Event, text.View(), sessionId);
  });
}

void TAV_CALL TavLogPlace(const char* place) {
  Boundary([&] {
    const Utf8Text text(place, true);
    if (!IsValidName(text.View())) {
      LogError("Tav: TavLogPlace called with an invalid place");
      return;
    }
    SessionManager* const manager = Manager();
    if (manager == nullptr) {
      LogError("Tav: TavLogPlace called with no manager defined");
      return;
    }
    TAV_TRACE("TavLogPlace: Place = '%.*s'", TAV_VIEW(text.View()));
    LogMarker(*manager, text.View(), {});
  });
}

void TAV_CALL TavSessionLogPlace(TavSession_s* session, const char* place) {
  Boundary([&] { LogSessionPlace(session, place); });
}

void TAV_CALL TavLogIdle() {
  Boundary([] {
    if (SessionManager* const manager = Manager()) {
      LogMarker(*manager, Key::kIdle, {});
    } else {
      LogError("Tav: TavLogIdle called with no manager defined");
    }
  });
}

void TAV_CALL TavSessionLogIdle(TavSession_s* session) {
  Boundary([&] {
    if (!IsOpen(session)) {
      LogError("Tav: TavSessionLogIdle called with an invalid session");
    } else if (SessionManager* const manager = Manager()) {
      LogMarker(*manager, Key::kIdle, session->id.View());
    } else {
      // These words, not "no manager": people's tools know the message so.
      LogError("Tav: TavSessionLogIdle called with no session defined");
    }
  });
}
