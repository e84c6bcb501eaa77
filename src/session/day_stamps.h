// Loads and saves the days of a product's last server access, last activity and last request for
// settings, in the storage file of time stamps.
//
// Days outlive the process, so they come from the wall clock. A stored day in the future comes from
// a clock that was wrong. It counts as today and is stored again as today.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "model/product_identity.h"
#include "storage/storage_views.h"

namespace Tav {

// Each operation opens the file, does its work and closes it. While another process keeps the file
// locked, nothing is loaded and the days of this run wait to be stored. Session thread only, except
// the two getters, which any thread may call.
class DayStamps {
 public:
  DayStamps(ProductIdentity product, StorageLocation location)
      : product_(std::move(product)), storage_(std::move(location)) {}

  // Loads the days that this run has not set, waiting at most `lockWait` milliseconds for the file,
  // and stores the others. With `mayFetch`, true once a day, when settings must be fetched; stores
  // that day at once, even if the fetch fails later. `now` here and below: seconds since 1970.
  bool LoadTimestamp(int64_t now, bool mayFetch, int lockWait);
  // Loads the days alone, for the host's queries before LoadTimestamp.
  void LoadDays(int64_t now);
  // False before LoadTimestamp has opened the file.
  bool Loaded() const { return loaded_; }
  void PersistLastActiveTime(int64_t now);
  void PersistLastServerAccessTime(int64_t now);

  // Whether a day of this run waits to be stored.
  bool Unsaved() const { return serverAccess_.unsaved || active_.unsaved; }
  // Stores those days, waiting at most `lockWait` milliseconds for the file.
  void StoreUnsaved(int lockWait);
  // Whether another process has the file locked at this moment.
  bool Locked() const { return storage_.IsLocked(PersistentStorage::Document::Timestamps); }

  // Days since 1970, 0 for never.
  int64_t LastServerAccessTime() const { return serverAccess_.Day(); }
  int64_t LastActiveTime() const { return active_.Day(); }

 private:
  struct Stamp {
    const char* key;
    const char* name;  // in log lines
    std::atomic<int64_t> day{0};
    bool unsaved = false;

    int64_t Day() const { return day.load(std::memory_order_relaxed); }
  };

  void Persist(Stamp& stamp, int64_t now);
  bool Open(int lockWait);
  void LoadDays(const PersistentStorage::ProductView& view, int64_t today);

  const ProductIdentity product_;
  PersistentStorage storage_;
  Stamp serverAccess_{"LastServerAccess", "lastServerAccessTime"};
  Stamp active_{"LastActive", "lastActiveTime"};
  bool loaded_ = false;
};

}  // namespace Tav
