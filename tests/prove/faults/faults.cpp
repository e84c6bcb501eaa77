// A fault at each operation on files, in scripted lives of a host. Each cell is a life, a fault,
// the number of the operation that meets it, and whether the fault lasts or passes. The operations
// of a life vary a little from run to run, because its threads do; a cell whose operation does not
// come is counted as not reached.
//
// Usage: faults [--every COUNT] [--cell LIFE FAULT passes|lasts NUMBER]
// --every: executes one cell of so many. --cell: executes that one and prints its log;
// TAV_LOG_LEVEL=TRACE makes it longer.
#include "prove/faults/file_faults.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "prove/lives/campaign.h"
#include "prove/lives/process.h"

namespace Tav::Testing {

namespace {

const Fault* FindFault(const std::string& name) {
  const auto found = std::ranges::find_if(kFaults, [&](const Fault& f) { return f.name == name; });
  return found == std::end(kFaults) ? nullptr : &*found;
}

Plan PlanOf(const Life& life, const Fault& fault, bool lasts, int ordinal) {
  return {&life, {fault.name, lasts ? "lasts" : "passes", std::to_string(ordinal)}, fault.Kills()};
}

// All cells of a fault in a life.
std::vector<Plan> PlansOf(const Life& life, const Fault& fault, int operations) {
  constexpr int kMargin = 10;  // percent
  const int last = operations + operations * kMargin / 100 + 1;
  std::vector<Plan> plans;
  for (int ordinal = 1; ordinal <= last; ++ordinal) {
    plans.push_back(PlanOf(life, fault, false, ordinal));
    if (!fault.Kills()) {
      plans.push_back(PlanOf(life, fault, true, ordinal));
    }
  }
  return plans;
}

int Prove(Campaign& campaign, int every) {
  Tally total;
  int number = 0;
  for (size_t i = kFirstProvedLife; i < std::size(kLives); ++i) {
    std::map<std::string, int> counts =
        campaign.Measure(kLives[i], PlanOf(kLives[i], kFaults[0], false, 0).fault);
    if (counts.empty()) {
      return 1;
    }
    for (const Fault& fault : kFaults) {
      Tally tally;
      for (const Plan& plan : PlansOf(kLives[i], fault, counts[fault.name])) {
        if (number++ % every == 0) {
          tally.Add(campaign.Execute(plan));
        }
      }
      std::printf(
          "%-8s %-15s %4d operations %5d cells %4d not reached %4d lost and said so "
          "%d failed\n",
          kLives[i].name, fault.name, counts[fault.name], tally.cells, tally.notReached,
          tally.withLoss, tally.failed);
      std::fflush(stdout);
      total.Add(tally);
    }
  }
  return Conclude(total, std::to_string(std::size(kFaults)) + " faults at the operations of " +
                             std::to_string(std::size(kLives) - kFirstProvedLife) + " lives");
}

int Main(const Lines& arguments) {
  constexpr size_t kCellArguments = 5;
  Campaign campaign("faults");
  if (!campaign.Prepare()) {
    std::printf("the earlier runs fail\n");
    return 1;
  }
  if (arguments.size() == kCellArguments && arguments[0] == "--cell") {
    const Life* const life = FindLife(arguments[1]);
    const Fault* const fault = FindFault(arguments[2]);
    const int ordinal = std::atoi(arguments[4].c_str());
    return life == nullptr || fault == nullptr
               ? 2
               : campaign.Show(PlanOf(*life, *fault, arguments[3] == "lasts", ordinal));
  }
  const bool some = arguments.size() == 2 && arguments[0] == "--every";
  return Prove(campaign, some ? std::max(std::atoi(arguments[1].c_str()), 1) : 1);
}

// Of the child.
Lines faultOfChild;

void ArmInChild() {
  Arm(*FindFault(faultOfChild[0]), std::atoi(faultOfChild[2].c_str()), faultOfChild[1] == "lasts");
}

}  // namespace

// FOLDER LIFE, and for a life of the campaign FAULT passes|lasts NUMBER.
int ChildMain(const std::vector<std::string>& arguments) {
  constexpr size_t kWithFault = 5;
  if (arguments.size() < kWithFault) {
    return Live({arguments.at(0)}, arguments.at(1), [] {}, [] {});
  }
  faultOfChild.assign(arguments.begin() + 2, arguments.end());
  return Live({arguments[0]}, arguments[1], ArmInChild, Disarm);
}

}  // namespace Tav::Testing

int main(int argc, char** argv) {
  const int status = Tav::Testing::RunAsChild(argc, argv);
  return status >= 0 ? status : Tav::Testing::Main({argv + 1, argv + argc});
}
