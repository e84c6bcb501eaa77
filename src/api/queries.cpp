// Questions to the running library, and data blocks carried by the host.
#include <cstdlib>
#include <string>

#include "api/arguments.h"
#include "api/boundary.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "session/session_manager.h"
#include "util/logger.h"
#include "util/version.h"

using namespace Tav;

void TAV_CALL TavGetEndpointIdentifier(char* buffer, size_t bufferSize) {
  Boundary([&] {
    if (buffer == nullptr || bufferSize == 0) {
      return;
    }
    buffer[0] = '\0';
    SessionManager* const manager = Manager();
    if (manager == nullptr) {
      return;
    }
    TAV_DEBUG("TavGetEndpointIdentifier. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
    const std::string identifier = manager->GetEndpointInstance();
    const size_t length = identifier.copy(buffer, bufferSize - 1);
    buffer[length] = '\0';
  });
}

int32_t TAV_CALL TavGetLastServerAccessTime() {
  return Boundary<int32_t>(-1, [] {
    SessionManager* const manager = Manager();
    if (manager == nullptr) {
      return int32_t{-1};
    }
    TAV_DEBUG("TavGetLastServerAccessTime. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
    return static_cast<int32_t>(manager->GetLastServerAccessTime());
  });
}

int32_t TAV_CALL TavGetLastActiveTime() {
  return Boundary<int32_t>(-1, [] {
    SessionManager* const manager = Manager();
    if (manager == nullptr) {
      return int32_t{-1};
    }
    TAV_DEBUG("TavGetLastActiveTime. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
    return static_cast<int32_t>(manager->GetLastActiveTime());
  });
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
  std::free(data);
}

const char* TAV_CALL TavGetVersion() {
  return kLibraryVersion;
}
