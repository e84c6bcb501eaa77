// One cell of the lifetime campaign.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "prove/cells/cells.h"
#include "prove/cells/gateway_thread.h"
#include "prove/cells/host_run.h"
#include "prove/lifetime/matrix.h"

namespace Prove {

// A host that is brought into a state and ends, and a later run that delivers the rest.
class Life {
 public:
  // Borrows the options, the state and the end.
  Life(const CellOptions& options, const State& state, const End& end, const std::string& folder);

  // Call it once.
  CellResult Run();

 private:
  HostPlan Plan(const std::string& state, const std::string& end) const;
  void Prepare();
  void FillCache();
  std::chrono::milliseconds MaxTerminateTime() const;
  std::chrono::milliseconds MaxEndTime() const;
  void RunToEnd();
  void CheckEnd(const HostRun& run);
  void CheckTerminate(const std::vector<int64_t>& times);
  void Deliver(const std::string& product, const std::string& storage);
  bool IsOnce() const;
  void CheckEvents();

  const CellOptions& options_;
  const State& state_;
  const End& end_;
  const std::string folder_;
  const std::string storage_;
  GatewayThread gateway_;
  std::unique_ptr<GatewayThread> settings_;  // null: there is no settings server
  std::map<std::string, int64_t> accepted_;  // events by the beginning of their names
  CellResult result_;
};

// A host that starts and terminates the library `count` times, and one that uses two copies of it.
CellResult RunCycles(const CellOptions& options, int count, const std::string& folder);
CellResult RunTwoCopies(const CellOptions& options, const std::string& folder);

}  // namespace Prove
