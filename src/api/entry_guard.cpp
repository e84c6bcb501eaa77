#include "api/entry_guard.h"

#include "api/library.h"
#include "util/logger.h"

namespace Tav {

void LogOutOfMemory() {
  LogError("Tav: Out of memory");
}

SessionManager* RequireManager(const char* entryPoint) {
  SessionManager* const manager = Manager();
  if (manager == nullptr) {
    LogError("Tav: %s called with no manager defined", entryPoint);
  }
  return manager;
}

void LogDeadHandle(const TavValue_s* handle, const char* entryPoint, const char* noun) {
  LogError("Tav: %s called with a %s %s", entryPoint, handle == nullptr ? "null" : "re-used", noun);
}

void LogBadArgument(const char* entryPoint, const char* noun) {
  LogError("Tav: %s called with a bad %s", entryPoint, noun);
}

}  // namespace Tav
