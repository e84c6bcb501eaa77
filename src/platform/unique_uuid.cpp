// Unique identifiers, the same on every operating system.
#include <atomic>
#include <cstring>
#include <mutex>

#include "platform/identifiers.h"
#include "platform/thread.h"

namespace Tav::Platform {

namespace {

// Odd constants without structure, one for each half of the identifier.
constexpr uint64_t kStep[] = {0x9E3779B97F4A7C15, 0xD1B54A32D192ED03};

constinit StaticLock seeding;
constinit std::atomic<bool> isSeeded{false};
constinit uint64_t start[2] = {};
constinit std::atomic<uint64_t> count{0};

// The finaliser of SplitMix64. It maps different numbers to different numbers.
constexpr uint64_t Mix(uint64_t value) {
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
  return value ^ (value >> 31);
}

void EnsureSeeded() {
  if (isSeeded.load(std::memory_order_acquire)) {
    return;
  }
  const std::lock_guard guard(seeding);
  if (isSeeded.load(std::memory_order_relaxed)) {
    return;
  }
  for (const uint64_t word : GatherProcessSeed()) {
    for (int half = 0; half < 2; ++half) {
      start[half] = Mix(start[half] + kStep[half] + word);
    }
  }
  isSeeded.store(true, std::memory_order_release);
}

}  // namespace

// Within a process, each half repeats only after 2^64 identifiers.
Uuid NewUniqueUuid() noexcept {
  EnsureSeeded();
  const uint64_t index = count.fetch_add(1, std::memory_order_relaxed);
  const uint64_t halves[] = {Mix(start[0] + index * kStep[0]), Mix(start[1] + index * kStep[1])};
  Uuid uuid;
  static_assert(sizeof uuid == sizeof halves);
  std::memcpy(&uuid, halves, sizeof uuid);
  uuid.data3 = static_cast<uint16_t>((uuid.data3 & 0x0FFF) | 0x4000);
  uuid.data4[0] = static_cast<uint8_t>((uuid.data4[0] & 0x3F) | 0x80);
  return uuid;
}

}  // namespace Tav::Platform
