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
inline constexpr int kStringCount = 5;

struct TextPair {
  const char* name;
  const char* value;
};
extern const TextPair kStrings[kStringCount];
inline constexpr char kDurationName[] = "Milliseconds";
inline constexpr double kDuration = 12.5;

// The bytes that a host hands over for one event: name, properties and the texts' terminators.
size_t ContentBytes();

// Creates the event, adds five string and two numeric properties, logs it. `serial` tells the
// events of a run apart.
void ReportEvent(const TavEntryTable& tav, double serial);

// Takes the same bytes over by copying them into a buffer under a critical section. Nobody is woken
// and nothing is made of the bytes.
class Floor {
 public:
  Floor();
  ~Floor();
  Floor(const Floor&) = delete;
  Floor& operator=(const Floor&) = delete;

  // Any thread.
  void Copy(double serial);

 private:
  void Put(const void* bytes, size_t size);
  void PutText(const char* text);

  CRITICAL_SECTION section_;
  std::unique_ptr<char[]> buffer_;
  size_t used_ = 0;
};

}  // namespace Bench
