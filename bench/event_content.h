// The event that all scenarios report, and the floor: the minimum cost of copying its content.
#pragma once

#include <windows.h>

#include <cstddef>
#include <memory>

#include "tav/tav.h"

namespace Bench {

inline constexpr char kEventName[] = "DocumentSaved";
inline constexpr char kSerialName[] = "Serial";
inline constexpr char kDurationName[] = "Milliseconds";
inline constexpr int kStringCount = 5;
extern const char* const kStringNames[kStringCount];

// The values of one event's properties. They differ from event to event, but are the same in every
// run.
struct EventValues {
  const char* strings[kStringCount];
  double duration;
};
EventValues ValuesOf(double serial);

// Average bytes of an event's content: name, properties, terminators.
double ContentBytes();

// Creates the event, adds five string and two numeric properties, and logs it. `serial` identifies
// the event.
void ReportEvent(const TavEntryTable& tav, double serial, const EventValues& values);

// Copies the same bytes into a buffer under a critical section, and does nothing else.
class Floor {
 public:
  Floor();
  ~Floor();
  Floor(const Floor&) = delete;
  Floor& operator=(const Floor&) = delete;

  // Thread-safe.
  void Copy(double serial, const EventValues& values);

 private:
  void Put(const void* bytes, size_t size);
  void PutText(const char* text);

  CRITICAL_SECTION section_;
  std::unique_ptr<char[]> buffer_;
  size_t used_ = 0;
};

}  // namespace Bench
