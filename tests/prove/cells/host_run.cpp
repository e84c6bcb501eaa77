#include "prove/cells/host_run.h"

#include <ctime>
#include <filesystem>
#include <fstream>

#include "prove/cells/child_process.h"

namespace Prove {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kPoll(5);

std::string HostPath(const CellOptions& options, const std::string& path) {
  return options.isWindows ? "Z:" + path : path;
}

bool HasLine(const std::string& path, const std::string& name) {
  std::ifstream file(path);
  std::string line;
  while (std::getline(file, line)) {
    if (line.starts_with(name + ' ')) {
      return true;
    }
  }
  return false;
}

// Lets the host go on when it may, and returns when it is about to end or has ended.
void AwaitEnd(ChildProcess& process, const std::string& report, const HostPlan& plan) {
  const auto end = steady_clock::now() + plan.maxState;
  bool goes = false;
  while (steady_clock::now() < end && !HasLine(report, "ending") && !process.Wait(kPoll)) {
    if (!goes && (!plan.mayGoOn || plan.mayGoOn())) {
      std::ofstream(report + ".go").put('1');
      goes = true;
    }
  }
}

// The exit code; nothing if the host did not end.
std::optional<int> RunOnce(const std::vector<std::string>& command,
                           const std::string& folder,
                           const std::string& name,
                           const HostPlan& plan) {
  ChildProcess process(command,
                       {"TAV_GATEWAY=" + plan.gateway, "TAV_CONFIGURATOR=" + plan.configurator,
                        "LOCALAPPDATA=" + folder, "TAV_LOG_LEVEL=DEBUG"},
                       folder + '/' + name + ".output");
  AwaitEnd(process, folder + '/' + name + ".report", plan);
  return process.Wait(plan.bound);
}

}  // namespace

HostRun::HostRun(const CellOptions& options,
                 const std::string& folder,
                 const std::string& name,
                 const HostPlan& plan,
                 CellResult& result) {
  const std::string report = folder + '/' + name + ".report";
  std::vector<std::string> command = options.host;
  for (const std::string& argument :
       {plan.state, plan.end, HostPath(options, plan.storage), HostPath(options, report),
        plan.product, std::to_string(plan.number)}) {
    command.push_back(argument);
  }
  std::optional<int> status = RunOnce(command, folder, name, plan);
  // A busy Wine sometimes fails to start a program, with this status and without a word.
  if (status == 1 && !std::filesystem::exists(report)) {
    status = RunOnce(command, folder, name, plan);
  }
  ReadReport(report);
  if (!status) {
    result.problems.push_back(name + ": the process does not end, " +
                              (values_.contains("ending") ? plan.end : plan.state));
  }
  status_ = status.value_or(-1);
  if (status_ == 2) {
    std::ifstream output(folder + '/' + name + ".output");
    std::string line;
    std::getline(output, line);
    result.problems.push_back(name + ": " + line);
  }
}

void HostRun::ReadReport(const std::string& path) {
  std::ifstream file(path);
  std::string name;
  int64_t value = 0;
  while (file >> name >> value) {
    values_[name].push_back(value);
  }
}

const std::vector<int64_t>& HostRun::Values(const std::string& name) const {
  static const std::vector<int64_t> none;
  const auto found = values_.find(name);
  return found == values_.end() ? none : found->second;
}

int64_t HostRun::Value(const std::string& name) const {
  return Values(name).empty() ? 0 : Values(name).back();
}

void MakeStorage(const std::string& folder,
                 const std::string& product,
                 const std::string& settings) {
  std::filesystem::create_directories(folder);
  std::ofstream(folder + "/TavData", std::ios::binary)
      << R"({"Products":[{"Name":")" << product
      << R"(","Version":"1.0","Platform":"wntx64","Settings":)" << settings << "}]}";
  std::ofstream(folder + "/TsTavData", std::ios::binary)
      << R"({"Products": [], "LastClientQuery": )" << std::time(nullptr) / 86400 << ".0}";
}

void CheckArrivals(const std::map<std::string, int>& arrivals,
                   const std::string& product,
                   int64_t count,
                   const Expectation& expectation,
                   CellResult& result) {
  int64_t lost = 0;
  int64_t twice = 0;
  int64_t wrong = 0;
  for (int64_t i = 0; i < count; ++i) {
    const auto found = arrivals.find(product + '.' + std::to_string(i));
    const int times = found == arrivals.end() ? 0 : found->second;
    lost += times == 0 ? 1 : 0;
    twice += times > 1 ? 1 : 0;
    wrong += times > expectation.maxTimes ? 1 : 0;
  }
  result.accepted += static_cast<int>(count);
  result.twice += static_cast<int>(twice);
  result.lost += static_cast<int>(lost);
  if (lost > 0 && !expectation.mayLose) {
    result.problems.push_back(std::to_string(lost) + " of " + std::to_string(count) +
                              " events of " + product + " are lost");
  }
  if (wrong > 0) {
    result.problems.push_back(std::to_string(wrong) + " of " + std::to_string(count) +
                              " events of " + product + " arrived too often");
  }
}

}  // namespace Prove
