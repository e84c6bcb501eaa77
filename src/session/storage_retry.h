// Work with storage files that a run repeats because another process has them locked.
#pragma once

#include "session/run_parts.h"

namespace Tav {

// Seconds between two attempts to open a storage file that is locked.
inline constexpr int kStorageRetry = 1;

// Starts the config loader when the settings are due. Waits at most `lockWait` milliseconds for
// the file.
void LoadTimestamps(RunParts& parts, int lockWait);

bool StorageWorkLeft(const RunParts& parts);

// Repeats what locked storage files have prevented. Never waits for a lock that is held for long.
void RetryStorage(RunParts& parts);

}  // namespace Tav
