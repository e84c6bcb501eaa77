// A lock that needs no construction at run time, for the few process-wide short sections.
#pragma once

#include <cstddef>

namespace Tav::Platform {

// Zero-initialised by the loader and usable at once, so that no static object of the library has a
// construction order. Not recursive. Satisfies BasicLockable.
class StaticLock {
 public:
  constexpr StaticLock() = default;
  StaticLock(const StaticLock&) = delete;
  StaticLock& operator=(const StaticLock&) = delete;

  void lock();
  void unlock();

 private:
  alignas(8) unsigned char storage_[40] = {};
};

}  // namespace Tav::Platform
