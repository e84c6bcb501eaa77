// Requests to the running session manager, and what is constant.
#include <cstdlib>
#include <string>

#include "api/entry_guard.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "session/session_manager.h"
#include "util/logger.h"
#include "util/version.h"

using namespace Tav;

namespace {

// -1 when the library is not initialised.
template <typename Ask>
int32_t AskTime(const char* entryPoint, Ask ask) {
  return Boundary<int32_t>(-1, [&] {
    SessionManager* const manager = Manager();
    if (manager == nullptr) {
      return int32_t{-1};
    }
    TAV_DEBUG_HERE("%s", entryPoint);
    return static_cast<int32_t>(ask(*manager));
  });
}

}  // namespace

void TAV_CALL TavSuspend() {
  Boundary([] {
    if (SessionManager* const manager = RequireManager("TavSuspend")) {
      manager->Suspend();
    }
  });
}

void TAV_CALL TavResume() {
  Boundary([] {
    if (SessionManager* const manager = RequireManager("TavResume")) {
      manager->Resume();
    }
  });
}

int TAV_CALL TavCommit() {
  return Boundary<int>(1, [] {
    SessionManager* const manager = RequireManager("TavCommit");
    return manager == nullptr || manager->Commit() == CommitResult::Sent ? 0 : 1;
  });
}

void TAV_CALL TavGetEndpointIdentifier(char* buffer, size_t bufferSize) {
  if (buffer == nullptr || bufferSize == 0) {
    return;
  }
  buffer[0] = '\0';
  Boundary([&] {
    SessionManager* const manager = Manager();
    if (manager == nullptr) {
      return;
    }
    TAV_DEBUG_HERE("TavGetEndpointIdentifier");
    const std::string identifier = manager->GetEndpointInstance();
    const size_t length = identifier.copy(buffer, bufferSize - 1);
    buffer[length] = '\0';
  });
}

int32_t TAV_CALL TavGetLastServerAccessTime() {
  return AskTime("TavGetLastServerAccessTime",
                 [](SessionManager& manager) { return manager.GetLastServerAccessTime(); });
}

int32_t TAV_CALL TavGetLastActiveTime() {
  return AskTime("TavGetLastActiveTime",
                 [](SessionManager& manager) { return manager.GetLastActiveTime(); });
}

char* TAV_CALL TavPullData() {
  return Boundary<char*>(nullptr, [] {
    SessionManager* const manager = Manager();
    return manager == nullptr ? nullptr : manager->PullData();
  });
}

void TAV_CALL TavPushData(const char* data) {
  Boundary([&] {
    if (SessionManager* const manager = Manager()) {
      manager->PushData(OrEmpty(data));
    }
  });
}

void TAV_CALL TavFreeData(void* data) {
  Boundary([&] { std::free(data); });
}

const char* TAV_CALL TavGetVersion() {
  return kLibraryVersion;
}

void TAV_CALL TavNoOperation() {}
