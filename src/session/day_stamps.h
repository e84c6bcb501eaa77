// Loads and saves the days of a product's last server access, last activity and last request for
// settings, in the storage file of time stamps.
#pragma once

#include <atomic>
#include <cstdint>

#include "model/product_identity.h"
#include "storage/persistent_storage.h"

namespace Tav {

// Each operation opens the file, does its work and closes it. Session thread only, except the two
// getters, which any thread may call.
class DayStamps {
 public:
  explicit DayStamps(ProductIdentity product) : product_(std::move(product)) {}

  // Loads the days. With `mayFetch`, true once a day, when settings must be fetched; stores that
  // day at once, even if the fetch fails later. `now` is in seconds since 1970.
  bool LoadTimestamp(int64_t now, bool mayFetch);
  void PersistLastActiveTime(int64_t now);
  void PersistLastServerAccessTime(int64_t now);

  // Days since 1970, 0 for never.
  int64_t LastServerAccessTime() const {
    return lastServerAccessTime_.load(std::memory_order_relaxed);
  }
  int64_t LastActiveTime() const { return lastActiveTime_.load(std::memory_order_relaxed); }

 private:
  bool StoreDay(const char* key, int64_t day);

  const ProductIdentity product_;
  PersistentStorage storage_;
  std::atomic<int64_t> lastServerAccessTime_{0};
  std::atomic<int64_t> lastActiveTime_{0};
};

}  // namespace Tav
