// One run of the campaigns' host (tests/prove/host/host.h), and its report.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "prove/cells/cells.h"
#include "prove/cells/gateway_thread.h"

namespace Prove {

struct HostPlan {
  std::string state;
  std::string end;
  std::string product;
  std::string storage;  // the folder, without the prefix of the host's system
  std::string gateway;
  std::string configurator = "http://127.0.0.1:1/";
  int number = 0;
  std::function<bool()> mayGoOn;  // when the host may leave its state; empty: at once
  // For reaching the state; enough for 400,000 events on a busy machine.
  std::chrono::milliseconds maxState = std::chrono::seconds(250);
  // From then to the end of the process.
  std::chrono::milliseconds bound = std::chrono::seconds(10);
};

class HostRun {
 public:
  // Runs the host to its end. Problems go to `result`: one that does not end in time is killed.
  // `name` is that of its files in the cell's folder.
  HostRun(const CellOptions& options,
          const std::string& folder,
          const std::string& name,
          const HostPlan& plan,
          CellResult& result);

  // The exit code; -1 if the host did not end.
  int Status() const { return status_; }
  // The values of one name in the report.
  const std::vector<int64_t>& Values(const std::string& name) const;
  int64_t Value(const std::string& name) const;  // the last one; 0 if there is none

 private:
  void ReadReport(const std::string& path);

  int status_ = -1;
  std::map<std::string, std::vector<int64_t>> values_;
};

// Settings with which events do not wait for others, unless the last send has failed.
inline constexpr char kSendAtOnce[] = R"({"pause_time":0.0,"send_threshold":1.0})";

// Creates a storage folder with the product's settings, in which the machine was described today.
void MakeStorage(const std::string& folder,
                 const std::string& product,
                 const std::string& settings);

// How often each accepted event of a product may have arrived.
struct Expectation {
  int maxTimes = 2;
  bool mayLose = false;
};

// Checks the arrivals of the events PRODUCT.0 to PRODUCT.(count - 1).
void CheckArrivals(const std::map<std::string, int>& arrivals,
                   const std::string& product,
                   int64_t count,
                   const Expectation& expectation,
                   CellResult& result);

}  // namespace Prove
