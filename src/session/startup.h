// The start of a run, on the session thread.
#pragma once

#include "session/run_parts.h"

namespace Tav {

class Shutdown;

// Reads the stored state and applies the settings, before anything is sent.
class Startup {
 public:
  explicit Startup(RunParts& parts) : parts_(parts) {}

  // While another process has the main file locked, or memory runs out, keeps what hosts report and
  // tries again. False if that is still so at the end of the run. `shutdown` limits the last
  // attempt. Throws nothing.
  bool Run(const Shutdown& shutdown);
  // For a run whose settings could not be read: opens the cache for unsent records.
  void RunWithoutSettings();

 private:
  // The stages that are left; one that throws is repeated as a whole.
  enum class Stage { Journal, Load, Settings, Stamps, Cache };

  // Waits at most `lockWait` milliseconds for each storage file. False while another process has
  // the main file locked, or after an exception, which is logged.
  bool StartUp(int lockWait);
  bool StartUpLater(const Shutdown& shutdown);
  void KeepReports();
  bool RunStages(int lockWait);
  void ApplyLimits();
  void ApplySettings();
  void OpenCache();
  void OpenJournal();
  RunBlock DescribeRun() const;
  void SetEndpoint();

  RunParts& parts_;
  Stage stage_ = Stage::Journal;
  bool locked_ = false;
  bool daysLoaded_ = false;
};

}  // namespace Tav
