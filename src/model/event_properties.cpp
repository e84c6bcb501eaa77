#include "model/event_properties.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "model/event_size.h"
#include "model/handles.h"
#include "model/record_keys.h"
#include "util/arena.h"
#include "util/logger.h"

namespace Tav {

namespace {

// Seven usual properties. An event with its name and session and this fills a block of the pool.
constexpr size_t kFirstCapacity = 256;
constexpr size_t kMaxLengthBytes = 10;

constexpr size_t TextBound(std::string_view text) {
  return kMaxLengthBytes + text.size();
}

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

void Count(TavEvent_s& event, size_t size, bool added) {
  if (added) {
    event.estimatedSize += static_cast<uint32_t>(size);
  } else {
    LogWarning("Failed to add object to json map");
  }
}

size_t TextMemberSize(std::string_view key, std::string_view text) {
  return text.empty() ? 0 : StringPairSize(key, text);
}

}  // namespace

// Room for `size` more bytes; null if memory runs out.
std::byte* EventProperties::Reserve(size_t size) {
  if (size > capacity_ - size_) {
    const size_t capacity = std::max({kFirstCapacity, capacity_ * 2, size_ + size});
    auto* const grown = static_cast<std::byte*>(TaggedAllocate(capacity, arena_));
    if (grown == nullptr) {
      return nullptr;
    }
    if (size_ != 0) {
      std::memcpy(grown, data_, size_);
    }
    TaggedFree(data_);
    data_ = grown;
    capacity_ = capacity;
  }
  return data_ + size_;
}

void EventProperties::Clear() {
  TaggedFree(data_);
  data_ = nullptr;
  size_ = 0;
  capacity_ = 0;
}

bool EventProperties::AddString(std::string_view key, std::string_view value) {
  const size_t bound = 1 + TextBound(key) + TextBound(value);
  std::byte* const room = Reserve(bound);
  if (room == nullptr) {
    return false;
  }
  ByteWriter writer({room, bound});
  writer.Fixed(ValueTag::String);
  writer.Text(key);
  writer.Text(value);
  size_ += writer.Size();
  return true;
}

bool EventProperties::AddReal(std::string_view key, double value) {
  const size_t bound = 1 + TextBound(key) + sizeof value;
  std::byte* const room = Reserve(bound);
  if (room == nullptr) {
    return false;
  }
  ByteWriter writer({room, bound});
  writer.Fixed(ValueTag::Real);
  writer.Text(key);
  writer.Fixed(value);
  size_ += writer.Size();
  return true;
}

bool EventProperties::AddItem(std::string_view key, std::span<const Text> texts) {
  size_t bound = 2 + TextBound(key);
  for (const Text& text : texts) {
    bound += 1 + TextBound(text.key) + TextBound(text.value);
  }
  std::byte* const room = Reserve(bound);
  if (room == nullptr) {
    return false;
  }
  ByteWriter writer({room, bound});
  writer.Fixed(ValueTag::Item);
  writer.Text(key);
  for (const Text& text : texts) {
    if (!text.value.empty()) {
      writer.Fixed(ValueTag::String);
      writer.Text(text.key);
      writer.Text(text.value);
    }
  }
  writer.Fixed(ValueTag::End);
  size_ += writer.Size();
  return true;
}

void AddEventString(TavEvent_s& event, std::string_view name, std::string_view value) {
  const size_t size = StringPairSize(name, value);
  if (!event.discarded && Fits(event, size)) {
    Count(event, size, event.properties.AddString(name, value));
  }
}

void AddEventNumber(TavEvent_s& event, std::string_view name, double value) {
  const size_t size = RealPairSize(name, value);
  if (event.discarded || !Fits(event, size)) {
    return;
  }
  if (!std::isfinite(value)) {
    LogWarning("No json object to add");
    return;
  }
  Count(event, size, event.properties.AddReal(name, value));
}

void AddEventTraceItem(TavEvent_s& event,
                       std::string_view location,
                       std::string_view library,
                       std::string_view meta) {
  if (event.discarded || event.properties.Empty()) {
    return;
  }
  const size_t size = EmptyContainerSize({}) + TextMemberSize(Key::kLocation, location) +
                      TextMemberSize(Key::kLibrary, library) + TextMemberSize(Key::kMeta, meta) +
                      (event.traceItemCount == 0 ? EmptyContainerSize(Key::kTrace) : 0);
  if (!Fits(event, size)) {
    return;
  }
  const std::array<EventProperties::Text, 3> texts = {
      {{Key::kLocation, location}, {Key::kLibrary, library}, {Key::kMeta, meta}}};
  if (!event.properties.AddItem(Key::kTrace, texts)) {
    LogError("Failed to add object to json array");
    return;
  }
  event.estimatedSize += static_cast<uint32_t>(size);
  ++event.traceItemCount;
}

}  // namespace Tav
