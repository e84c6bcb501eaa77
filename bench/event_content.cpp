#include "bench/event_content.h"

#include <cstring>

namespace Bench {

namespace {

// The heap's own locks spin as often.
constexpr DWORD kSpinCount = 4000;
// More than a processor's caches near the core hold, as with events that wait to be worked off.
constexpr size_t kBufferSize = size_t{4} << 20;

}  // namespace

const TextPair kStrings[kStringCount] = {
    {"Format", "PDF/X-4"},
    {"Command", "file.save.as"},
    {"Template", "Quarterly report (landscape)"},
    {"Language", "de_DE"},
    {"Source", "MainMenu"},
};

size_t ContentBytes() {
  size_t bytes = sizeof kEventName + sizeof kSerialName + sizeof kDurationName + 2 * sizeof(double);
  for (const TextPair& pair : kStrings) {
    bytes += std::strlen(pair.name) + 1 + std::strlen(pair.value) + 1;
  }
  return bytes;
}

void ReportEvent(const TavEntryTable& tav, double serial) {
  TavEvent_s* const event = tav.NewEvent(kEventName);
  for (const TextPair& pair : kStrings) {
    tav.AddEventProperty(event, pair.name, pair.value);
  }
  tav.AddNumericEventProperty(event, kSerialName, serial);
  tav.AddNumericEventProperty(event, kDurationName, kDuration);
  tav.LogEvent(event);
}

Floor::Floor() : buffer_(std::make_unique<char[]>(kBufferSize)) {
  InitializeCriticalSectionAndSpinCount(&section_, kSpinCount);
}

Floor::~Floor() {
  DeleteCriticalSection(&section_);
}

void Floor::Copy(double serial) {
  EnterCriticalSection(&section_);
  PutText(kEventName);
  for (const TextPair& pair : kStrings) {
    PutText(pair.name);
    PutText(pair.value);
  }
  PutText(kSerialName);
  Put(&serial, sizeof serial);
  PutText(kDurationName);
  Put(&kDuration, sizeof kDuration);
  LeaveCriticalSection(&section_);
}

void Floor::Put(const void* bytes, size_t size) {
  if (used_ + size > kBufferSize) {
    used_ = 0;
  }
  std::memcpy(buffer_.get() + used_, bytes, size);
  used_ += size;
}

void Floor::PutText(const char* text) {
  Put(text, std::strlen(text) + 1);
}

}  // namespace Bench
