#include "session/day_stamps.h"

#include <algorithm>
#include <utility>

#include "util/logger.h"

namespace Tav {

namespace {

constexpr int64_t kSecondsPerDay = 86400;
// Beyond any day of a clock; limits the numbers in a damaged file.
constexpr double kMaxDay = 1e9;

constexpr char kLastConfigAccess[] = "LastConfigAccess";

PersistentStorage::ProductView ViewOf(PersistentStorage* storage, const ProductIdentity& product) {
  return {storage, product, PersistentStorage::Access::Update};
}

// 0 when the key is missing or holds no number.
int64_t DayOf(const EnvValue& value) {
  return value.type == EnvType::Number
             ? static_cast<int64_t>(std::clamp(value.number, -kMaxDay, kMaxDay))
             : 0;
}

}  // namespace

bool DayStamps::Open(int lockWait) {
  storage_.SetLockWait(lockWait);
  storage_.OpenTimestamps(PersistentStorage::Access::Update);
  return !storage_.WasLocked();
}

bool DayStamps::LoadTimestamp(int64_t now, bool mayFetch, int lockWait) {
  const int64_t today = now / kSecondsPerDay;
  const StorageCloser closer(storage_);
  if (!Open(lockWait)) {
    return false;
  }
  loaded_ = true;
  bool newDay = false;
  {
    PersistentStorage::ProductView view = ViewOf(&storage_, product_);
    LoadDays(view);
    TAV_DEBUG("SM: LoadTimestamp - lastServerAccessTime = %ld, lastActiveTime = %ld",
              static_cast<long>(LastServerAccessTime()), static_cast<long>(LastActiveTime()));
    const EnvValue stamp = view.GetValue(kLastConfigAccess);
    TAV_TRACE("SM: LoadTimestamp - Comparing Config stamps. Old=%ld, today=%ld",
              static_cast<long>(DayOf(stamp)), static_cast<long>(today));
    newDay = mayFetch && (stamp.type != EnvType::Number || DayOf(stamp) != today);
    if (newDay) {
      view.SetValue(kLastConfigAccess, EnvValue::Number(static_cast<double>(today)));
    }
  }
  storage_.Close(newDay ? PersistentStorage::Changes::Save : PersistentStorage::Changes::Discard);
  return newDay;
}

void DayStamps::LoadDays() {
  using Access = PersistentStorage::Access;
  const StorageCloser closer(storage_);
  storage_.SetLockWait(StorageFile::kDefaultLockWait);
  storage_.OpenTimestamps(Access::Read);
  LoadDays(PersistentStorage::ProductView(&storage_, product_, Access::Read));
}

void DayStamps::LoadDays(const PersistentStorage::ProductView& view) {
  for (Stamp* const stamp : {&serverAccess_, &active_}) {
    if (!stamp->unsaved) {
      stamp->day.store(DayOf(view.GetValue(stamp->key)), std::memory_order_relaxed);
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
  const int64_t today = now / kSecondsPerDay;
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
