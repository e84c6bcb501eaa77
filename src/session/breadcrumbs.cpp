#include "session/breadcrumbs.h"

#include <algorithm>
#include <new>
#include <utility>

#include "model/record_keys.h"
#include "util/logger.h"
#include "util/value_codec.h"

namespace Tav {

void LoggedEvent::LoadProperties() {
  if (!members.empty() && !properties) {
    ByteReader reader(members);
    properties = ReadMembers(reader);
    if (!properties && !reader.Failed()) {
      throw std::bad_alloc();
    }
  }
}

void Breadcrumbs::Update(LoggedEvent& event) {
  const std::string_view session = event.fields.session;
  const std::string_view name = event.fields.name;
  if (event.fields.kind == HandleKind::Command) {
    event.LoadProperties();
    Save(Crumb::Command, session,
         JsonStringView(json_object_get(event.properties.Get(), Key::kCommandName.data())));
  } else if (event.fields.kind == HandleKind::Error) {
    AttachTo(event);
  } else if (event.fields.kind == HandleKind::Marker) {
    if (name == Key::kSessionEnd) {
      const auto ended = sessions_.find(session);
      if (ended != sessions_.end()) {
        sessions_.erase(ended);
      }
    } else if (name != Key::kSessionBegin && name != Key::kIdle) {
      Save(Crumb::Place, session, name);
    }
  }
}

void Breadcrumbs::Save(Crumb crumb, std::string_view sessionId, std::string_view name) {
  if (sessionId.empty() || name.empty() || length_ <= 0) {
    return;
  }
  const bool isCommand = crumb == Crumb::Command;
  Trail& trail = TrailOf(sessionId);
  Names& names = isCommand ? trail.commands : trail.places;
  names.emplace_back(name);
  if (names.size() > static_cast<size_t>(length_)) {
    names.pop_front();
  }
  TAV_TRACE("SM: SaveList: %s: %s, sessID: %.*s", isCommand ? "Command" : "Place",
            names.back().c_str(), static_cast<int>(sessionId.size()), sessionId.data());
}

Breadcrumbs::Trail& Breadcrumbs::TrailOf(std::string_view sessionId) {
  auto found = sessions_.find(sessionId);
  if (found == sessions_.end()) {
    if (sessions_.size() >= kMaxSessions) {
      ForgetLeastRecentlyUsed();
    }
    found = sessions_.emplace(std::string(sessionId), Trail()).first;
  }
  found->second.lastUse = ++uses_;
  return found->second;
}

void Breadcrumbs::ForgetLeastRecentlyUsed() {
  sessions_.erase(std::min_element(
      sessions_.begin(), sessions_.end(),
      [](const auto& a, const auto& b) { return a.second.lastUse < b.second.lastUse; }));
}

void Breadcrumbs::AttachTo(LoggedEvent& errorEvent) {
  const auto found = sessions_.find(errorEvent.fields.session);
  if (length_ <= 0 || found == sessions_.end()) {
    return;
  }
  Trail& trail = found->second;
  trail.lastUse = ++uses_;
  if (!trail.places.empty()) {
    TAV_DEBUG("SM: Attaching saved places to error event...");
    Attach(errorEvent, Key::kPlaces, trail.places);
  }
  if (!trail.commands.empty()) {
    TAV_DEBUG("SM: Attaching saved commands to error event...");
    Attach(errorEvent, Key::kCommands, trail.commands);
  }
}

void Breadcrumbs::Attach(LoggedEvent& event, std::string_view key, const Names& names) {
  TAV_TRACE("JD: AttachList. Adding queued item to '%s':", key.data());
  event.LoadProperties();
  JsonPtr list(json_array());
  for (const std::string& name : names) {
    TAV_TRACE("JD:    %s", name.c_str());
    if (json_array_append_new(list.Get(), MakeJsonString(name).Release()) != 0) {
      throw std::bad_alloc();
    }
  }
  if (!event.properties) {
    event.properties.Reset(json_object());
  }
  if (!SetJsonMember(event.properties.Get(), key, std::move(list))) {
    LogWarning("Failed to add object to json map");
    throw std::bad_alloc();
  }
}

}  // namespace Tav
