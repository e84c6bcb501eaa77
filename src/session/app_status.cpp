#include "session/app_status.h"

#include <algorithm>

#include "storage/storage_views.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr int64_t kSecondsPerDay = 86400;

constexpr char kLastServerAccess[] = "LastServerAccess";
constexpr char kLastActive[] = "LastActive";
constexpr char kLastConfigAccess[] = "LastConfigAccess";

PersistentStorage::ProductView ViewOf(PersistentStorage* storage, const ProductInfo& product) {
  return {storage, product.GetName(), product.GetVersion(), product.GetPlatform()};
}

// Far beyond any day that a clock can show, and what a file may hold beyond that.
constexpr double kLastDay = 1e9;

// 0 when the key is missing or holds no number.
int64_t DayOf(const EnvValue& value) {
  return value.type == EnvType::Number
             ? static_cast<int64_t>(std::clamp(value.numData, -kLastDay, kLastDay))
             : 0;
}

// Whatever happens, the file is not kept locked.
class Closing {
 public:
  explicit Closing(PersistentStorage& storage) : storage_(storage) {}
  Closing(const Closing&) = delete;
  Closing& operator=(const Closing&) = delete;
  ~Closing() { storage_.Close(false); }

 private:
  PersistentStorage& storage_;
};

}  // namespace

void AppStatus::Load() {
  TAV_DEBUG("SM: CheckAppStatus. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  const Closing closing(storage_);
  storage_.Open(false);
  changed_.client = client_.IsChanged(&storage_);
  changed_.productEnvironment = product_.IsChanged(&storage_);
  product_.LoadEnvFromPS(&storage_);
  const bool newEndpoint = endpoint_.IsChanged(&storage_);
  settings_.LoadFromStorage(&storage_);
  storage_.CloseAndSave();
  changed_.app = changed_.productEnvironment || changed_.client;
  TAV_DEBUG("SM: App changed: %d (prodEnv: %d, cli: %d, ep: %d)", changed_.app,
            changed_.productEnvironment, changed_.client, newEndpoint);
  if (newEndpoint) {
    StoreEndpoint();
  }
}

// One that another process has stored meanwhile wins.
void AppStatus::StoreEndpoint() {
  endpoint_.Compute();
  const Closing closing(storage_);
  storage_.Open(true);
  const bool missing = endpoint_.IsChanged(&storage_);
  if (missing) {
    endpoint_.Persist(&storage_);
  }
  storage_.Close(missing);
}

bool AppStatus::IsClientChanged() {
  const Closing closing(storage_);
  storage_.Open(false);
  const bool changed = client_.IsChanged(&storage_);
  storage_.Close(false);
  return changed;
}

bool AppStatus::LoadTimestamp(int64_t now) {
  const int64_t today = now / kSecondsPerDay;
  const Closing closing(storage_);
  storage_.OpenTimestamps(true);
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
    newDay = stamp.type != EnvType::Number || DayOf(stamp) != today;
    if (newDay) {
      view.SetValue(kLastConfigAccess, EnvValue::Number(static_cast<double>(today)));
    }
  }
  storage_.Close(newDay);
  return newDay;
}

void AppStatus::PersistAppStatusChanges() {
  if (changed_.app) {
    return;  // what changed stands in no record yet
  }
  if (changed_.productEnvironment || changed_.client) {
    TAV_DEBUG("SM: PersistAppStatusChanges: Persisting information");
    const Closing closing(storage_);
    storage_.Open(true);
    if (changed_.productEnvironment) {
      product_.PersistToPS(&storage_);
      changed_.productEnvironment = false;
      changed_.productDataPersisted = true;
    }
    if (changed_.client) {
      client_.PersistClientInfo(&storage_);
      changed_.client = false;
    }
    storage_.CloseAndSave();
  }
  ClearPendingOptOut();
}

void AppStatus::PersistPendingOptOut() {
  const Closing closing(storage_);
  storage_.Open(true);
  product_.PersistPendingOptOut(&storage_);
  storage_.CloseAndSave();
}

void AppStatus::ClearPendingOptOut() {
  if (product_.IsPendingOptOutCleared()) {
    return;
  }
  const Closing closing(storage_);
  storage_.Open(true);
  product_.ClearPendingOptOut(&storage_);
  storage_.CloseAndSave();
}

bool AppStatus::StoreDay(const char* key, int64_t day) {
  const Closing closing(storage_);
  storage_.OpenTimestamps(true);
  bool stored = false;
  {
    PersistentStorage::ProductView view = ViewOf(&storage_, product_);
    stored =
        view.SetValue(key, EnvValue::Number(static_cast<double>(day))) && !storage_.HadOpenError();
  }
  storage_.Close(stored);
  return stored;
}

void AppStatus::PersistLastActiveTime(int64_t now) {
  const int64_t today = now / kSecondsPerDay;
  if (LastActiveTime() == today) {
    return;
  }
  lastActiveTime_.store(today, std::memory_order_relaxed);
  if (StoreDay(kLastActive, today)) {
    TAV_DEBUG("SM: Persisted lastActiveTime: %ld", static_cast<long>(today));
  }
}

void AppStatus::PersistLastServerAccessTime(int64_t now) {
  const int64_t today = now / kSecondsPerDay;
  if (LastServerAccessTime() == today) {
    return;
  }
  lastServerAccessTime_.store(today, std::memory_order_relaxed);
  if (StoreDay(kLastServerAccess, today)) {
    TAV_DEBUG("SM: Persisted lastServerAccessTime: %ld", static_cast<long>(today));
  }
}

void AppStatus::SaveSettings(const EnvMap& settings, const std::vector<std::string>& inhibitList) {
  const Closing closing(storage_);
  storage_.Open(true);
  settings_.SaveToStorage(&storage_, settings, inhibitList);
  storage_.CloseAndSave();
}

}  // namespace Tav
