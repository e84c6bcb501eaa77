#include "api/library.h"

#include <mutex>
#include <new>

#include "api/aggregates.h"
#include "platform/thread.h"

namespace Tav {

namespace {

// Never destroyed: nothing must run when the module is unloaded or the process ends before the host
// has called TavTerminate.
alignas(Library) constinit unsigned char storage[sizeof(Library)] = {};
constinit std::atomic<Library*> library{nullptr};
constinit Platform::StaticLock creation;

}  // namespace

Library::Library() = default;
Library::~Library() = default;

Library& GetLibrary() {
  Library* existing = library.load(std::memory_order_acquire);
  if (existing == nullptr) {
    const std::lock_guard guard(creation);
    existing = library.load(std::memory_order_relaxed);
    if (existing == nullptr) {
      existing = new (storage) Library;
      library.store(existing, std::memory_order_release);
    }
  }
  return *existing;
}

SessionManager* Manager() {
  return GetLibrary().sessionManager.load(std::memory_order_acquire);
}

void ResetLibrary() {
  Library& state = GetLibrary();
  state.config = LibraryConfig();
  state.optOutRequested = false;
  state.versionQualifier = std::string();
  state.aggregates.reset();
  state.deployment.OnTerminate();
  state.testFlag = false;
  state.maxTraceItems = kDefaultMaxTraceItems;
}

}  // namespace Tav
