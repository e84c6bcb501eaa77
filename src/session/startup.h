// The start of a run, on the session thread.
#pragma once

#include "session/run_parts.h"

namespace Tav {

class Shutdown;

// Reads the stored state and applies the settings, before anything is sent.
class Startup {
 public:
  explicit Startup(RunParts& parts) : parts_(parts) {}

  // While another process has the main file locked, keeps what hosts report. False if the file is
  // still locked at the end of the run. `shutdown` limits the last attempt.
  bool Run(const Shutdown& shutdown);
  // For a run whose settings could not be read: opens the cache for unsent records.
  void RunWithoutSettings();

 private:
  // Waits at most `lockWait` milliseconds for each storage file. False, and no change, while
  // another process has the main file locked.
  bool StartUp(int lockWait);
  bool StartUpLater(const Shutdown& shutdown);
  bool CheckAppStatus(int lockWait);
  void ApplyLimits();
  void ApplySettings();
  void OpenCache();
  void OpenJournal();
  RunBlock DescribeRun() const;
  void SetEndpoint();

  RunParts& parts_;
};

}  // namespace Tav
