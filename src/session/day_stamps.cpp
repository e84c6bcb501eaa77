#include "session/day_stamps.h"

#include <algorithm>
#include <utility>

#include "util/logger.h"

namespace Tav {

namespace {

constexpr int64_t kSecondsPerDay = 86400;
// Beyond any day of a clock; limits the numbers in a damaged file.
constexpr double kMaxDay = 1e9;
// Day 0 means never, so it is not stored for a clock that shows 1970.
constexpr int64_t kFirstDay = 1;

constexpr char kLastConfigAccess[] = "LastConfigAccess";

PersistentStorage::ProductView ViewOf(PersistentStorage* storage, const ProductIdentity& product) {
  return {storage, product, PersistentStorage::Access::Update};
}

int64_t DayOf(int64_t unixSeconds) {
  return std::max(unixSeconds / kSecondsPerDay, kFirstDay);
}

// 0 when the key is missing or holds no number.
int64_t DayOf(const EnvValue& value) {
  return value.type == EnvType::Number
             ? static_cast<int64_t>(std::clamp(value.number, 0.0, kMaxDay))
             : 0;
}

}  // namespace

bool DayStamps::Open(int lockWait) {
  storage_.SetLockWait(lockWait);
  storage_.OpenTimestamps(PersistentStorage::Access::Update);
  return !storage_.WasLocked();
}

bool DayStamps::LoadTimestamp(int64_t now, bool mayFetch, int lockWait) {
  const int64_t today = DayOf(now);
  const StorageCloser closer(storage_);
  if (!Open(lockWait)) {
    return false;
  }
  loaded_ = true;
  bool newDay = false;
  bool changed = false;
  {
    PersistentStorage::ProductView view = ViewOf(&storage_, product_);
    LoadDays(view, today);
    TAV_DEBUG("SM: LoadTimestamp - lastServerAccessTime = %ld, lastActiveTime = %ld",
              static_cast<long>(LastServerAccessTime()), static_cast<long>(LastActiveTime()));
    const EnvValue stamp = view.GetValue(kLastConfigAccess);
    TAV_TRACE("SM: LoadTimestamp - Comparing Config stamps. Old=%ld, today=%ld",
              static_cast<long>(DayOf(stamp)), static_cast<long>(today));
    newDay = mayFetch && DayOf(stamp) < today;
    changed = mayFetch && DayOf(stamp) != today;
    if (changed) {
      view.SetValue(kLastConfigAccess, EnvValue::Number(static_cast<double>(today)));
    }
  }
  storage_.Close(changed ? PersistentStorage::Changes::Save : PersistentStorage::Changes::Discard);
  return newDay;
}

void DayStamps::LoadDays(int64_t now) {
  using Access = PersistentStorage::Access;
  const StorageCloser closer(storage_);
  storage_.SetLockWait(StorageFile::kDefaultLockWait);
  storage_.OpenTimestamps(Access::Read);
  LoadDays(PersistentStorage::ProductView(&storage_, product_, Access::Read), DayOf(now));
}

void DayStamps::LoadDays(const PersistentStorage::ProductView& view, int64_t today) {
  for (Stamp* const stamp : {&serverAccess_, &active_}) {
    if (!stamp->unsaved) {
      const int64_t stored = DayOf(view.GetValue(stamp->key));
      stamp->day.store(std::min(stored, today), std::memory_order_relaxed);
      stamp->unsaved = stored > today;
    }
  }
}

void DayStamps::PersistLastActiveTime(int64_t now) {
  Persist(active_, now);
}

void DayStamps::PersistLastServerAccessTime(int64_t now) {
  Persist(serverAccess_, now);
}

void DayStamps::Persist(Stamp& stamp, int64_t now) {
  const int64_t today = DayOf(now);
  if (stamp.Day() != today) {
    stamp.day.store(today, std::memory_order_relaxed);
    stamp.unsaved = true;
    StoreUnsaved(StorageFile::kDefaultLockWait);
  }
}

// A file that cannot be opened for another reason than a lock will not open later either.
void DayStamps::StoreUnsaved(int lockWait) {
  const StorageCloser closer(storage_);
  if (!Unsaved() || !Open(lockWait)) {
    return;
  }
  const bool opened = !storage_.HadOpenError();
  {
    PersistentStorage::ProductView view = ViewOf(&storage_, product_);
    for (Stamp* const stamp : {&serverAccess_, &active_}) {
      const auto day = EnvValue::Number(static_cast<double>(stamp->Day()));
      if (std::exchange(stamp->unsaved, false) && view.SetValue(stamp->key, day) && opened) {
        TAV_DEBUG("SM: Persisted %s: %ld", stamp->name, static_cast<long>(stamp->Day()));
      }
    }
  }
  storage_.CloseAndSave();
}

}  // namespace Tav
