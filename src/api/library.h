// The one process-wide state of the library: what the host set before initialisation, and the
// session manager while the library is initialised.
//
// No lock guards it. A host must not call TavInitialize or TavTerminate while another thread is
// inside the library; all other entry points only read the session manager's pointer here.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "model/library_config.h"

namespace Tav {

class SessionManager;
struct GlobalAggregates;

inline constexpr int kDefaultMaxTraceItems = 50;

struct Library {
  LibraryConfig config;
  std::atomic<SessionManager*> sessionManager{nullptr};  // null: not initialised
  bool optOutRequested = false;
  bool debugLogRequested = false;
  void* messageSink = nullptr;
  void* lineSink = nullptr;
  std::string versionQualifier;
  std::unique_ptr<GlobalAggregates> aggregates;  // null until first use
  bool testFlag = false;
  bool ownStorageDirectory = false;  // the running session uses one of the host's choice
  int maxTraceItems = kDefaultMaxTraceItems;

  Library();
  ~Library();
};

// The state, which exists from the first call to the process's end.
Library& GetLibrary();

// The session manager, or null when the library is not initialised.
SessionManager* Manager();

// Sets everything back to what it was before the host's first call, but for the debug-log request
// and the message sink, which survive a termination.
void ResetLibrary();

}  // namespace Tav
