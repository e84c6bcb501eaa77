#include "model/event_payload.h"

#include <utility>

#include "model/event_size.h"
#include "model/handles.h"
#include "model/record_keys.h"
#include "util/arena.h"
#include "util/logger.h"

namespace Tav {

namespace {

// True when `size` more bytes still fit; else the event is marked discarded.
bool Fits(TavEvent_s& event, size_t size) {
  const auto maximum = static_cast<size_t>(EventSize::Maximum());
  if (event.estimatedSize + size <= maximum) {
    return true;
  }
  event.discarded = true;
  LogWarning("JD: AddTavEvent: discarding '%s'. Current size = %d, size to add = %d, max size = %d",
             event.name.CString(), static_cast<int>(event.estimatedSize), static_cast<int>(size),
             static_cast<int>(maximum));
  return false;
}

bool EnsurePayload(TavEvent_s& event) {
  if (!event.payload) {
    event.payload.Reset(json_object());
  }
  return static_cast<bool>(event.payload);
}

template <typename MakeValue>
void AddProperty(TavEvent_s& event, std::string_view name, size_t size, MakeValue makeValue) {
  if (event.discarded || !Fits(event, size)) {
    return;
  }
  const ArenaScope scope(event.Memory());
  JsonPtr value(makeValue());
  if (!value) {
    LogWarning("No json object to add");
    return;
  }
  if (!EnsurePayload(event) || !SetJsonMember(event.payload.Get(), name, std::move(value))) {
    LogWarning("Failed to add object to json map");
    return;
  }
  event.estimatedSize += static_cast<uint32_t>(size);
}

size_t TextMemberSize(std::string_view key, std::string_view text) {
  return text.empty() ? 0 : StringPairSize(key, text);
}

bool AddText(json_t* object, std::string_view key, std::string_view text) {
  return text.empty() || SetJsonMember(object, key, MakeJsonString(text));
}

}  // namespace

void AddEventString(TavEvent_s& event, std::string_view name, std::string_view value) {
  AddProperty(event, name, StringPairSize(name, value), [&] { return MakeJsonString(value); });
}

void AddEventNumber(TavEvent_s& event, std::string_view name, double value) {
  AddProperty(event, name, RealPairSize(name, value), [&] { return JsonPtr(json_real(value)); });
}

void AddEventTraceItem(TavEvent_s& event,
                       std::string_view location,
                       std::string_view library,
                       std::string_view meta) {
  if (event.discarded || !event.payload) {
    return;
  }
  const ArenaScope scope(event.Memory());
  JsonPtr item(json_object());
  if (!item) {
    LogWarning("No json object to add");
    return;
  }
  json_t* const list = json_object_get(event.payload.Get(), Key::kTrace.data());
  JsonPtr newList(list == nullptr ? json_array() : nullptr);
  size_t size = EstimateAdded({}, item.Get()) + TextMemberSize(Key::kLocation, location) +
                TextMemberSize(Key::kLibrary, library) + TextMemberSize(Key::kMeta, meta);
  if (newList) {
    size += EstimateAdded(Key::kTrace, newList.Get());
  }
  if (!Fits(event, size)) {
    return;
  }
  if (!AddText(item.Get(), Key::kLocation, location) ||
      !AddText(item.Get(), Key::kLibrary, library) || !AddText(item.Get(), Key::kMeta, meta) ||
      json_array_append(list == nullptr ? newList.Get() : list, item.Get()) != 0) {
    LogError("Failed to add object to json array");
    return;
  }
  if (newList && !SetJsonMember(event.payload.Get(), Key::kTrace, std::move(newList))) {
    LogWarning("Failed to add object to json map");
    return;
  }
  event.estimatedSize += static_cast<uint32_t>(size);
  ++event.traceItemCount;
}

}  // namespace Tav
