// The library's process-wide state: the host's options for the next initialisation, and the session
// manager while the library is initialised.
//
// No lock guards it. A host must not call TavInitialize or TavTerminate while another thread is in
// the library. Between them, most entry points only read the pointer to the session manager.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "model/deployment.h"
#include "model/library_config.h"

namespace Tav {

class SessionManager;
struct GlobalAggregates;

inline constexpr int kDefaultMaxTraceItems = 50;

struct Library {
  LibraryConfig config;
  std::atomic<SessionManager*> sessionManager{nullptr};  // null: not initialised
  Deployment deployment;  // copied to the configuration by TavInitialize
  bool optOutRequested = false;
  void* messageSink = nullptr;
  void* lineSink = nullptr;
  std::string versionQualifier;
  std::unique_ptr<GlobalAggregates> aggregates;  // null until first use
  bool testFlag = false;
  int maxTraceItems = kDefaultMaxTraceItems;

  Library();
  ~Library();
};

// Created by the first call, never destroyed.
Library& GetLibrary();

// Null when the library is not initialised.
SessionManager* Manager();

// Back to the initial state. The debug-log request and the message sink survive a termination.
void ResetLibrary();

}  // namespace Tav
