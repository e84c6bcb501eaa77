#include "session/day_stamps.h"

#include <algorithm>

#include "storage/storage_views.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr int64_t kSecondsPerDay = 86400;
// Beyond any day of a clock; limits the numbers in a damaged file.
constexpr double kMaxDay = 1e9;

constexpr char kLastServerAccess[] = "LastServerAccess";
constexpr char kLastActive[] = "LastActive";
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

bool DayStamps::LoadTimestamp(int64_t now, bool mayFetch) {
  const int64_t today = now / kSecondsPerDay;
  const StorageCloser closer(storage_);
  storage_.OpenTimestamps(PersistentStorage::Access::Update);
  bool newDay = false;
  {
    PersistentStorage::ProductView view = ViewOf(&storage_, product_);
    const int64_t serverAccess = DayOf(view.GetValue(kLastServerAccess));
    const int64_t active = DayOf(view.GetValue(kLastActive));
    lastServerAccessTime_.store(serverAccess, std::memory_order_relaxed);
    lastActiveTime_.store(active, std::memory_order_relaxed);
    TAV_DEBUG("SM: LoadTimestamp - lastServerAccessTime = %ld, lastActiveTime = %ld",
              static_cast<long>(serverAccess), static_cast<long>(active));
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

void DayStamps::PersistLastActiveTime(int64_t now) {
  const int64_t today = now / kSecondsPerDay;
  if (LastActiveTime() == today) {
    return;
  }
  lastActiveTime_.store(today, std::memory_order_relaxed);
  if (StoreDay(kLastActive, today)) {
    TAV_DEBUG("SM: Persisted lastActiveTime: %ld", static_cast<long>(today));
  }
}

void DayStamps::PersistLastServerAccessTime(int64_t now) {
  const int64_t today = now / kSecondsPerDay;
  if (LastServerAccessTime() == today) {
    return;
  }
  lastServerAccessTime_.store(today, std::memory_order_relaxed);
  if (StoreDay(kLastServerAccess, today)) {
    TAV_DEBUG("SM: Persisted lastServerAccessTime: %ld", static_cast<long>(today));
  }
}

bool DayStamps::StoreDay(const char* key, int64_t day) {
  const StorageCloser closer(storage_);
  storage_.OpenTimestamps(PersistentStorage::Access::Update);
  bool stored = false;
  {
    PersistentStorage::ProductView view = ViewOf(&storage_, product_);
    stored =
        view.SetValue(key, EnvValue::Number(static_cast<double>(day))) && !storage_.HadOpenError();
  }
  storage_.Close(stored ? PersistentStorage::Changes::Save : PersistentStorage::Changes::Discard);
  return stored;
}

}  // namespace Tav
