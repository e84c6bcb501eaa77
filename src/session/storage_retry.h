// What a run repeats of its start because another process has storage files locked. On the session
// thread.
#pragma once

#include "session/run_parts.h"

namespace Tav {

// Seconds between two attempts to open a storage file that is locked.
inline constexpr int kStorageRetry = 1;

// Reads the stored days, and starts the config loader when the settings are due. Waits at most
// `lockWait` milliseconds for the file.
void LoadTimestamps(RunParts& parts, int lockWait);

bool StorageWorkLeft(const RunParts& parts);

// Repeats what locked storage files have prevented. Never waits for a lock that is held for long.
void RetryStorage(RunParts& parts);

}  // namespace Tav
