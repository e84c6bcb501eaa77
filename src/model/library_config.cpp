#include "model/library_config.h"

#include <utility>

namespace Tav {

LibraryConfig LibraryConfig::TakeForManager() {
  LibraryConfig taken;
  taken.productName = productName;
  taken.productVersion = productVersion;
  taken.customerId = customerId;
  taken.userId = userId;
  taken.productComponentName = productComponentName;
  taken.productContext = productContext;
  taken.optOut = optOut;
  taken.auxiliaryString = auxiliaryString;
  taken.cacheDirectory = cacheDirectory;
  taken.productValues = std::move(productValues);
  taken.sessionEnvironment = std::move(sessionEnvironment);
  taken.tags = std::move(tags);
  taken.noImpliedRecords = noImpliedRecords;
  taken.cacheSize = cacheSize;
  taken.maxCacheBytes = maxCacheBytes;
  taken.maxRecordSize = maxRecordSize;
  taken.maxEventSize = maxEventSize;
  taken.maxMemorySize = maxMemorySize;
  taken.flushInterval = flushInterval;
  taken.pauseInterval = pauseInterval;
  taken.persistentInterval = persistentInterval;
  taken.sendInterval = sendInterval;
  taken.sendThreshold = sendThreshold;
  taken.savedListLength = savedListLength;
  return taken;
}

}  // namespace Tav
