// Converts built records back to JSON, and makes events.
#pragma once

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "model/built_record.h"
#include "model/event_properties.h"
#include "model/handles.h"
#include "streams/filter_stream.h"
#include "streams/gzip_stream.h"
#include "streams/json_stream.h"
#include "streams/memory_stream.h"
#include "util/json.h"

namespace Tav::Testing {

// The record's JSON document; null unless it is one complete gzip member of JSON.
inline JsonPtr Expand(const BuiltRecord& record) {
  MemoryInputStream bytes(record.bytes.data(), record.bytes.size());
  GZipInputStream gzip(&bytes);
  BufferedInputStream buffered(&gzip);
  JsonInputStream json(&buffered);
  JsonPtr value = json.ReadValue();
  return gzip.Complete() ? std::move(value) : JsonPtr();
}

// Compact JSON text.
inline std::string Text(const json_t* value) {
  char* const text = json_dumps(value, JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(17));
  const std::string copy = text == nullptr ? "" : text;
  std::free(text);
  return copy;
}

// The string member `key`; empty if there is none.
inline std::string TextAt(const json_t* object, const char* key) {
  return std::string(JsonStringView(json_object_get(object, key)));
}

inline constexpr char kSession[] = "01234567-89ab-cdef-0123-456789abcdef";

inline TavEvent_s* Event(std::string_view name, HandleKind kind = HandleKind::Event) {
  return CreateEvent(kind, name, kSession);
}

// An object's members in the journal's binary form, without the end.
inline std::vector<std::byte> MembersOf(const JsonPtr& object) {
  ByteWriter measure({});
  WriteMembers(measure, object.Get());
  std::vector<std::byte> bytes(measure.Size());
  ByteWriter writer(bytes);
  WriteMembers(writer, object.Get());
  bytes.pop_back();
  return bytes;
}

// The properties of an event that was not logged yet.
inline JsonPtr Properties(const TavEvent_s& event) {
  const std::span<const std::byte> members = event.properties.Bytes();
  std::vector<std::byte> bytes(members.begin(), members.end());
  bytes.push_back(std::byte{0});
  ByteReader reader(bytes);
  return ReadMembers(reader);
}

}  // namespace Tav::Testing
