#include "bench/event_content.h"

#include <cstdint>
#include <cstring>

namespace Bench {

namespace {

// The same as that of the heap's locks.
constexpr DWORD kSpinCount = 4000;
// Larger than the processor's inner caches, as queued events are.
constexpr size_t kBufferSize = size_t{4} << 20;

constexpr const char* kFormats[] = {"PDF/X-4", "OpenDocument", "HTML", "Plain text"};
constexpr const char* kCommands[] = {"file.save", "file.save.as", "file.export", "autosave",
                                     "plugin.publish"};
constexpr const char* kTemplates[] = {
    "Quarterly report (landscape)", "Letter", "Minutes of the meeting", "Invoice, two columns",
    "Thesis with bibliography",     "Empty",  "Curriculum vitae"};
constexpr const char* kLanguages[] = {"de_DE", "en_US", "fr_FR", "hu_HU", "ja_JP", "zh_TW"};
constexpr const char* kSources[] = {"MainMenu", "Toolbar", "Shortcut",  "ContextMenu",
                                    "Timer",    "Macro",   "DropTarget"};

// A hash: neighbouring serial numbers give different values.
uint64_t Hash(double serial) {
  uint64_t value = static_cast<uint64_t>(serial) + 0x9E3779B97F4A7C15;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
  return value ^ (value >> 27);
}

template <size_t Size>
const char* Choose(const char* const (&texts)[Size], uint64_t hash, int shift) {
  return texts[((hash >> shift) & 0xFF) % Size];
}

}  // namespace

const char* const kStringNames[kStringCount] = {"Format", "Command", "Template", "Language",
                                                "Source"};

EventValues ValuesOf(double serial) {
  const uint64_t hash = Hash(serial);
  return {{Choose(kFormats, hash, 0), Choose(kCommands, hash, 8), Choose(kTemplates, hash, 16),
           Choose(kLanguages, hash, 24), Choose(kSources, hash, 32)},
          static_cast<double>(hash >> 48) / 8};
}

double ContentBytes() {
  constexpr int kEvents = 1000;
  size_t bytes = 0;
  for (int serial = 0; serial < kEvents; ++serial) {
    const EventValues values = ValuesOf(serial);
    bytes += sizeof kEventName + sizeof kSerialName + sizeof kDurationName + 2 * sizeof(double);
    for (int i = 0; i < kStringCount; ++i) {
      bytes += std::strlen(kStringNames[i]) + 1 + std::strlen(values.strings[i]) + 1;
    }
  }
  return static_cast<double>(bytes) / kEvents;
}

void ReportEvent(const TavEntryTable& tav, double serial, const EventValues& values) {
  TavEvent_s* const event = tav.NewEvent(kEventName);
  for (int i = 0; i < kStringCount; ++i) {
    tav.AddEventProperty(event, kStringNames[i], values.strings[i]);
  }
  tav.AddNumericEventProperty(event, kSerialName, serial);
  tav.AddNumericEventProperty(event, kDurationName, values.duration);
  tav.LogEvent(event);
}

Floor::Floor() : buffer_(std::make_unique<char[]>(kBufferSize)) {
  InitializeCriticalSectionAndSpinCount(&section_, kSpinCount);
}

Floor::~Floor() {
  DeleteCriticalSection(&section_);
}

void Floor::Copy(double serial, const EventValues& values) {
  EnterCriticalSection(&section_);
  PutText(kEventName);
  for (int i = 0; i < kStringCount; ++i) {
    PutText(kStringNames[i]);
    PutText(values.strings[i]);
  }
  PutText(kSerialName);
  Put(&serial, sizeof serial);
  PutText(kDurationName);
  Put(&values.duration, sizeof values.duration);
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
