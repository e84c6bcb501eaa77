#include "prove/lifetime/life.h"

#include <cstdio>
#include <utility>
#include <vector>

namespace Prove {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr char kProduct[] = "Lifetime.Host";
constexpr char kEarlier[] = "Earlier";
constexpr char kOtherProduct[] = "Other.Product";
constexpr char kNoServer[] = "http://127.0.0.1:1/";

// Added to the bounds of docs/delivery.md, for a busy machine.
constexpr milliseconds kSlack = seconds(8);
// Of a process that waits for nothing; the host lingers for 1.5 seconds after FreeLibrary.
constexpr milliseconds kProcessEnd = seconds(2) + kSlack;
// A Commit waits for the request under way and for its own: 33 seconds each if there is no answer.
constexpr milliseconds kCommit = seconds(66) + kSlack;
constexpr milliseconds kCommitOfMany = seconds(120);

}  // namespace

Life::Life(const CellOptions& options,
           const State& state,
           const End& end,
           const std::string& folder)
    : options_(options), state_(state), end_(end), folder_(folder), storage_(folder + "/storage") {}

CellResult Life::Run() {
  Prepare();
  if (state_.cacheIsFull) {
    FillCache();
  }
  RunToEnd();
  gateway_.ClearFaults();
  Deliver(kProduct, storage_);
  if (end_.name == "other-product") {
    Deliver(kOtherProduct, storage_ + "-other");
  }
  CheckEvents();
  return std::move(result_);
}

HostPlan Life::Plan(const std::string& state, const std::string& end) const {
  HostPlan plan;
  plan.state = state;
  plan.end = end;
  plan.product = kProduct;
  plan.storage = storage_;
  plan.gateway = gateway_.Url();
  return plan;
}

void Life::Prepare() {
  MakeStorage(storage_, kProduct, kSendAtOnce);
  MakeStorage(storage_ + "-other", kOtherProduct, "{}");
  if (state_.describesMachine) {
    std::remove((storage_ + "/TsTavData").c_str());
  }
  if (state_.silentSettings) {
    settings_ = std::make_unique<GatewayThread>();
    settings_->SetFault({.kind = Gateway::FaultKind::Hang, .count = 1000});
  }
  if (state_.fault.count > 0) {
    gateway_.SetFault(state_.fault);
  }
}

void Life::FillCache() {
  HostPlan plan = Plan("fill-cache", "terminate");
  plan.gateway = kNoServer;
  plan.bound = seconds(10) + kSlack;
  const HostRun run(options_, folder_, "earlier", plan, result_);
  accepted_[kEarlier] = run.Value(std::string("accepted:") + kEarlier);
}

milliseconds Life::MaxTerminateTime() const {
  return state_.terminateTime + kSlack;
}

milliseconds Life::MaxEndTime() const {
  if (end_.name == "static-commit") {
    return state_.name == "queued" ? kCommitOfMany : kCommit;
  }
  return kProcessEnd + end_.terminations * MaxTerminateTime();
}

void Life::RunToEnd() {
  HostPlan plan = Plan(state_.name, end_.name);
  const GatewayThread& awaited = settings_ ? *settings_ : gateway_;
  plan.mayGoOn = [&awaited] { return awaited.FaultsMet() > 0; };
  plan.configurator = settings_ ? settings_->Url() : kNoServer;
  plan.bound = MaxEndTime();
  const HostRun run(options_, folder_, "host", plan, result_);
  for (const char* const events : {kProduct, kOtherProduct}) {
    accepted_[events] = run.Value(std::string("accepted:") + events);
  }
  CheckEnd(run);
}

void Life::CheckEnd(const HostRun& run) {
  const int expected = options_.isWindows ? end_.windowsStatus : end_.nativeStatus;
  if (run.Status() != expected) {
    result_.problems.push_back("exit status " + std::to_string(run.Status()) + " instead of " +
                               std::to_string(expected));
  }
  CheckTerminate(run.Values("terminated"));
  if (end_.name == "static-commit") {
    result_.note = "Commit " + std::to_string(run.Value("committed")) + " ms";
  }
  if (end_.name == "unload-running" && run.Value("mapped") != 1) {
    result_.problems.emplace_back("the module was unmapped while it ran");
  }
}

void Life::CheckTerminate(const std::vector<int64_t>& times) {
  if (times.size() != static_cast<size_t>(end_.terminations)) {
    result_.problems.push_back("Terminate returned " + std::to_string(times.size()) + " times");
  }
  for (const int64_t time : times) {
    result_.note += (result_.note.empty() ? "Terminate " : ", ") + std::to_string(time) + " ms";
    if (milliseconds(time) > MaxTerminateTime()) {
      result_.problems.push_back("Terminate took longer than " +
                                 std::to_string(MaxTerminateTime().count()) + " ms");
    }
  }
}

void Life::Deliver(const std::string& product, const std::string& storage) {
  HostPlan plan = Plan("deliver", "return");
  plan.product = product;
  plan.storage = storage;
  const HostRun run(options_, folder_, "deliver-" + product, plan, result_);
  if (run.Status() != 0) {
    result_.problems.push_back("the later run of " + product + " ended with status " +
                               std::to_string(run.Status()));
  }
}

// Whether no record can have been in flight, or half stored, when the run ended.
bool Life::IsOnce() const {
  const bool sendsAtEnd = end_.terminations > 0 || end_.name == "static-commit";
  return state_.name == "idle" || state_.staysUnsent || (state_.name == "suspended" && !sendsAtEnd);
}

void Life::CheckEvents() {
  if (accepted_[kProduct] == 0) {
    result_.problems.emplace_back("the host accepted no event");
  }
  const std::map<std::string, int> arrivals = gateway_.Arrivals();
  for (const auto& [events, count] : accepted_) {
    // Without Terminate, events that were reported faster than the journal grew are lost.
    const int maxTimes = IsOnce() && events == kProduct ? 1 : 2;
    const bool mayLose = state_.name == "queued" && end_.terminations == 0;
    CheckArrivals(arrivals, events, count, {maxTimes, mayLose}, result_);
  }
  if (gateway_.BadRecords() > 0) {
    result_.problems.emplace_back("bad records have arrived");
  }
}

namespace {

CellResult RunRepeated(const CellOptions& options,
                       const std::string& folder,
                       const std::string& state,
                       int number) {
  CellResult result;
  GatewayThread gateway;
  HostPlan plan;
  plan.state = state;
  plan.end = "return";
  plan.product = kProduct;
  plan.storage = folder + "/storage";
  plan.gateway = gateway.Url();
  plan.number = number;
  plan.maxState = seconds(60) + number * milliseconds(500);
  MakeStorage(plan.storage, kProduct, kSendAtOnce);
  const HostRun run(options, folder, "host", plan, result);
  if (run.Status() != 0) {
    result.problems.push_back("exit status " + std::to_string(run.Status()));
  }
  for (const char* const figure : {"handles", "threads", "kilobytes", "files", "bytes"}) {
    const std::string name = figure;
    if (!run.Values("after_" + name).empty()) {
      result.note += name + ' ' + std::to_string(run.Value("before_" + name)) + " to " +
                     std::to_string(run.Value("after_" + name)) + "  ";
    }
  }
  const int64_t accepted = run.Value(std::string("accepted:") + kProduct);
  if (accepted == 0) {
    result.problems.emplace_back("the host accepted no event");
  }
  CheckArrivals(gateway.Arrivals(), kProduct, accepted, {}, result);
  return result;
}

}  // namespace

CellResult RunCycles(const CellOptions& options, int count, const std::string& folder) {
  return RunRepeated(options, folder, "cycles", count);
}

CellResult RunTwoCopies(const CellOptions& options, const std::string& folder) {
  return RunRepeated(options, folder, "two-copies", 0);
}

}  // namespace Prove
