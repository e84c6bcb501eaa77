#include "session/breadcrumbs.h"

#include <utility>

#include "model/handles.h"
#include "model/record_keys.h"
#include "util/json.h"
#include "util/logger.h"

namespace Tav {

void Breadcrumbs::Update(TavEvent_s& event) {
  const std::string_view session = event.sessionId.View();
  const std::string_view name = event.name.View();
  if (event.kind == HandleKind::Command) {
    SaveCommand(session,
                JsonStringView(json_object_get(event.payload.Get(), Key::kCommandName.data())));
  } else if (event.kind == HandleKind::Error) {
    AttachTo(event);
  } else if (event.kind == HandleKind::Marker) {
    if (name == Key::kSessionEnd) {
      Forget(session);
    } else if (name != Key::kSessionBegin && name != Key::kIdle) {
      SavePlace(session, name);
    }
  }
}

void Breadcrumbs::SavePlace(std::string_view sessionId, std::string_view place) {
  Save(places_, false, sessionId, place);
}

void Breadcrumbs::SaveCommand(std::string_view sessionId, std::string_view command) {
  Save(commands_, true, sessionId, command);
}

void Breadcrumbs::Save(Sessions& sessions,
                       bool isCommand,
                       std::string_view sessionId,
                       std::string_view name) {
  if (sessionId.empty() || name.empty() || length_ <= 0) {
    return;
  }
  auto found = sessions.find(sessionId);
  if (found == sessions.end()) {
    found = sessions.emplace(std::string(sessionId), Names()).first;
  }
  Names& names = found->second;
  names.emplace_back(name);
  if (names.size() > static_cast<size_t>(length_)) {
    names.pop_front();
  }
  TAV_TRACE("SM: SaveList: %s: %s, sessID: %s", isCommand ? "Command" : "Place",
            names.back().c_str(), found->first.c_str());
}

void Breadcrumbs::AttachTo(TavEvent_s& errorEvent) const {
  if (length_ <= 0) {
    return;
  }
  const auto places = places_.find(errorEvent.sessionId.View());
  if (places != places_.end()) {
    TAV_DEBUG("SM: Attaching saved places to error event...");
    Attach(errorEvent, Key::kPlaces, places->second);
  }
  const auto commands = commands_.find(errorEvent.sessionId.View());
  if (commands != commands_.end()) {
    TAV_DEBUG("SM: Attaching saved commands to error event...");
    Attach(errorEvent, Key::kCommands, commands->second);
  }
}

void Breadcrumbs::Attach(TavEvent_s& event, std::string_view key, const Names& names) {
  TAV_TRACE("JD: AttachList. Adding queued item to '%s':", key.data());
  JsonPtr list(json_array());
  for (const std::string& name : names) {
    TAV_TRACE("JD:    %s", name.c_str());
    json_array_append_new(list.Get(), MakeJsonString(name).Release());
  }
  if (!event.payload) {
    event.payload.Reset(json_object());
  }
  if (!SetJsonMember(event.payload.Get(), key, std::move(list))) {
    LogWarning("Failed to add object to json map");
  }
}

void Breadcrumbs::Forget(std::string_view sessionId) {
  for (Sessions* sessions : {&places_, &commands_}) {
    const auto found = sessions->find(sessionId);
    if (found != sessions->end()) {
      sessions->erase(found);
    }
  }
}

}  // namespace Tav
