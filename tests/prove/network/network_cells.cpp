// Runs a host whose server misbehaves, and then one whose server is good again, which must deliver
// what the first one accepted. docs/delivery.md says how to run it.
#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "prove/cells/cells.h"
#include "prove/cells/gateway_thread.h"
#include "prove/cells/host_run.h"
#include "prove/network/hostile_server.h"
#include "prove/network/network_cases.h"

namespace Prove {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr char kProduct[] = "Network.Host";
constexpr int kEvents = 600;  // see SendMuch in tests/prove/host/states.cpp
constexpr milliseconds kSlack = seconds(8);
constexpr milliseconds kTerminateTime = seconds(10);
// Above what the host takes when the library has started: the events, the system's own libraries.
constexpr int64_t kMaxGrowth = 48 * 1024;
constexpr int64_t kMaxThreads = 16;

class NetworkCell {
 public:
  // Borrows both.
  NetworkCell(const CellOptions& options, const NetworkCase& what, const std::string& folder)
      : options_(options),
        what_(what),
        folder_(folder),
        gateway_(what.https),
        server_(gateway_.Port(), what.misbehaviour, what.flaps) {}

  CellResult Run() {
    MakeStorage(folder_ + "/storage", kProduct, kSendAtOnce);
    RunWithHostileServer();
    server_.Heal();
    HostPlan plan = Plan("deliver", "return");
    plan.gateway = IsReached() ? plan.gateway : gateway_.Url();
    const HostRun deliver(options_, folder_, "deliver", plan, result_);
    if (deliver.Status() != 0) {
      result_.problems.push_back("the later run ended with status " +
                                 std::to_string(deliver.Status()));
    }
    // Each lost answer may have made one more copy.
    const int copies = what_.mayDouble ? 1 + std::max(server_.Victims(), 1) : 1;
    CheckArrivals(gateway_.Arrivals(), kProduct, accepted_, {.maxTimes = copies}, result_);
    if (gateway_.BadRecords() > 0) {
      result_.problems.emplace_back("bad records have arrived");
    }
    return std::move(result_);
  }

 private:
  std::string HostileUrl() const {
    return std::string(what_.https ? "https://" : "http://") + what_.host + ':' +
           std::to_string(server_.Port()) + '/';
  }

  bool IsReached() const { return what_.host == "127.0.0.1"; }

  HostPlan Plan(const char* state, const char* end) const {
    HostPlan plan;
    plan.state = state;
    plan.end = end;
    plan.product = kProduct;
    plan.storage = folder_ + "/storage";
    const bool isGood = what_.target == NetworkCase::Target::Settings;
    plan.gateway = isGood ? gateway_.Url() : HostileUrl();
    return plan;
  }

  void RunWithHostileServer() {
    HostPlan plan = Plan(what_.flaps ? "persisting" : "sending-much", "terminate");
    if (what_.target == NetworkCase::Target::Settings) {
      plan.configurator = HostileUrl();
    }
    // If everything has arrived, the case did not happen.
    plan.mayGoOn = [this] {
      return !IsReached() || server_.Victims() > 0 ||
             (what_.target == NetworkCase::Target::Gateway && gateway_.Events() > kEvents);
    };
    plan.bound = kTerminateTime + 2 * kSlack;
    const HostRun run(options_, folder_, "host", plan, result_);
    accepted_ = run.Value(std::string("accepted:") + kProduct);
    Check(run);
  }

  void Check(const HostRun& run) {
    if (run.Status() != 0 || accepted_ == 0) {
      result_.problems.push_back("the host ended with status " + std::to_string(run.Status()));
    }
    const std::vector<int64_t>& peaks = run.Values("peak_kilobytes");
    const int64_t peak = peaks.empty() ? 0 : *std::max_element(peaks.begin(), peaks.end());
    if (IsReached() && server_.Victims() == 0) {
      result_.problems.emplace_back("the server was good to everybody");
    }
    Limit("Terminate, ms", run.Value("terminated"), (kTerminateTime + kSlack).count());
    if (!(options_.isWindows && what_.unboundedInWine)) {
      Limit("growth, KB", peak - run.Value("base_kilobytes"), kMaxGrowth);
    }
    Limit("threads", run.Value("threads"), kMaxThreads);
  }

  void Limit(const char* what, int64_t value, int64_t limit) {
    result_.note += std::string(what) + ' ' + std::to_string(value) + "  ";
    if (value > limit) {
      result_.problems.push_back(std::string(what) + ": " + std::to_string(value) + ", more than " +
                                 std::to_string(limit));
    }
  }

  const CellOptions& options_;
  const NetworkCase& what_;
  const std::string folder_;
  GatewayThread gateway_;
  HostileServer server_;
  int64_t accepted_ = 0;
  CellResult result_;
};

std::vector<Cell> Cells(const CellOptions& options, const std::vector<NetworkCase>& cases) {
  std::vector<Cell> cells;
  for (const NetworkCase& one : cases) {
    if (options.isWindows ? !one.onlyNative : !one.https) {
      cells.push_back({one.name, one.isShort, [&options, &one](const std::string& folder) {
                         return NetworkCell(options, one, folder).Run();
                       }});
    }
  }
  return cells;
}

}  // namespace
}  // namespace Prove

int main(int count, char** arguments) {
  const auto options = Prove::ParseCellOptions(std::span(arguments, static_cast<size_t>(count)));
  if (!options) {
    return 2;
  }
  const std::vector<Prove::NetworkCase> cases = Prove::NetworkCases();
  return Prove::RunCells(Prove::Cells(*options, cases), *options);
}
