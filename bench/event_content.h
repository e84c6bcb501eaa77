// The one event that everything is measured with, and its floor: the least that taking it over
// could cost.
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

// The values of one event's properties. They differ from event to event, as a host's do, but are
// the same in every run.
struct EventValues {
  const char* strings[kStringCount];
  double duration;
};
EventValues ValuesOf(double serial);

// The bytes that a host hands over for one event, on average: name, properties, terminators.
double ContentBytes();

// Creates the event, adds five string and two numeric properties, logs it. `serial` tells the
// events of a run apart.
void ReportEvent(const TavEntryTable& tav, double serial, const EventValues& values);

// Takes the same bytes over by copying them into a buffer under a critical section. Nobody is woken
// and nothing is made of the bytes.
class Floor {
 public:
  Floor();
  ~Floor();
  Floor(const Floor&) = delete;
  Floor& operator=(const Floor&) = delete;

  // Any thread.
  void Copy(double serial, const EventValues& values);

 private:
  void Put(const void* bytes, size_t size);
  void PutText(const char* text);

  CRITICAL_SECTION section_;
  std::unique_ptr<char[]> buffer_;
  size_t used_ = 0;
};

}  // namespace Bench
