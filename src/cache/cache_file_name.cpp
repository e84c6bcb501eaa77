#include "cache/cache_file_name.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <mutex>

#include "platform/thread.h"

namespace Tav {

namespace {

constexpr size_t kDigits = 4;

constinit std::atomic<bool> developmentMode{false};
constinit std::atomic<bool> internalMode{false};
constinit Platform::StaticLock guard;
// Made on first use and never destroyed, as all process-wide state of the library.
constinit std::string* prefixOverride = nullptr;

const char* ModeLetter() {
  if (developmentMode.load(std::memory_order_relaxed)) {
    return "D";
  }
  return internalMode.load(std::memory_order_relaxed) ? "I" : "";
}

}  // namespace

uint32_t CacheNameHash(std::string_view identity) {
  uint32_t hash = 0;
  for (const char character : identity) {
    hash = hash * 31 + static_cast<uint32_t>(static_cast<int8_t>(character));
  }
  return hash;
}

std::string CachePrefix(std::string_view product, std::string_view version) {
  {
    const std::lock_guard lock(guard);
    if (prefixOverride != nullptr && !prefixOverride->empty()) {
      return *prefixOverride;
    }
  }
  char text[32];
  std::snprintf(text, sizeof text, "Tav%sCache_%08X_", ModeLetter(),
                CacheNameHash(std::string(product).append(version)));
  return text;
}

std::string CacheFileName(std::string_view prefix, int sequence) {
  char digits[16];
  std::snprintf(digits, sizeof digits, "%04d", sequence);
  return std::string(prefix).append(digits);
}

int CacheSequence(std::string_view prefix, std::string_view name) {
  if (!name.starts_with(prefix) || name.size() != prefix.size() + kDigits) {
    return 0;
  }
  const std::string_view digits = name.substr(prefix.size());
  const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
  if (!std::all_of(digits.begin(), digits.end(), isDigit)) {
    return 0;
  }
  int sequence = 0;
  for (const char digit : digits) {
    sequence = sequence * 10 + (digit - '0');
  }
  return sequence;
}

void SetCacheDevelopmentMode(bool enabled) {
  developmentMode.store(enabled, std::memory_order_relaxed);
}

void SetCacheInternalMode(bool enabled) {
  internalMode.store(enabled, std::memory_order_relaxed);
}

void SetCachePrefixOverride(std::string_view prefix) {
  const std::lock_guard lock(guard);
  if (prefixOverride == nullptr) {
    prefixOverride = new std::string;
  }
  *prefixOverride = prefix;
}

}  // namespace Tav
