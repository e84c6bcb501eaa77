#include "session/storage_retry.h"

#include "storage/storage_file.h"
#include "util/logger.h"
#include "util/now.h"

namespace Tav {

void LoadTimestamps(RunParts& parts, int lockWait) {
  TAV_DEBUG("SM: Loading PS timestamps...");
  const bool newDay =
      parts.stamps.LoadTimestamp(CurrentTime(), parts.consent.AllowsSettingsRequest(), lockWait);
  if (!parts.stamps.Loaded()) {
    return;
  }
  if (!parts.consent.AllowsSettingsRequest()) {
    TAV_DEBUG("SM: In opt-out mode. Not requesting settings");
    return;
  }
  if (!newDay) {
    TAV_DEBUG("SM: Config stamp unchanged");
    return;
  }
  TAV_DEBUG("SM: Config stamp update. Starting loader");
  parts.loader = CreateConfigLoader(parts.app.Product().Identity(), parts.config.hostConfigUrl,
                                    parts.config.deployment);
  if (!parts.loader->Run()) {
    parts.loader.reset();
  }
}

bool StorageWorkLeft(const RunParts& parts) {
  return parts.app.Machine().CollectionDue() || !parts.stamps.Loaded() || parts.stamps.Unsaved() ||
         parts.app.Unsaved();
}

void RetryStorage(RunParts& parts) try {
  if (!StorageWorkLeft(parts)) {
    return;
  }
  if (!parts.stamps.Locked()) {
    if (!parts.stamps.Loaded()) {
      LoadTimestamps(parts, StorageFile::kDefaultLockWait);
    }
    parts.stamps.StoreUnsaved(StorageFile::kDefaultLockWait);
    if (parts.app.Machine().CollectionDue() && parts.app.Machine().CollectClientLate()) {
      parts.delivery.Schedule().OnFirstPending(ReadClocks());
    }
  }
  if (parts.app.Unsaved() && !parts.app.Locked()) {
    parts.app.StoreUnsaved(StorageFile::kDefaultLockWait);
  }
} catch (...) {
  LogException("SM: ");
}

}  // namespace Tav
