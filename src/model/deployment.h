// Selects the servers of a run and the names of its cache files together, so that trial runs stay
// apart from production: they neither send nor consume its records.
#pragma once

namespace Tav {

enum class Stage { Production, Internal, Development };

struct Deployment {
  bool debugLog = false;    // EnableDebugLog was called; survives a termination
  bool debugFlags = false;  // SetDebugFlags asked for development
  bool internal = false;    // SetStateFlags asked for the internal servers

  // Development wins over internal.
  Stage Selected() const {
    if (debugLog || debugFlags) {
      return Stage::Development;
    }
    return internal ? Stage::Internal : Stage::Production;
  }

  void OnTerminate() {
    debugFlags = false;
    internal = false;
  }
};

}  // namespace Tav
