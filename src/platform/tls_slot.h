// One pointer per thread. The compiler's own thread-local storage is not used: under MinGW it goes
// through an emulation that allocates on each thread's first access.
#pragma once

namespace Tav::Platform {

// A slot of the system's thread-local storage; every thread reads null until it sets a value.
// Get keeps the calling thread's last error.
class TlsSlot {
 public:
  // Reserves the slot. False when the system has none left; then Get returns null.
  bool Acquire();
  // Gives the slot back. No other thread may be inside Get or Set.
  void Release();
  bool Valid() const { return valid_; }

  void* Get() const;
  void Set(void* value) const;

 private:
  unsigned long index_ = 0;
  bool valid_ = false;
};

}  // namespace Tav::Platform
