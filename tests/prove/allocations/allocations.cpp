// Allocations that fail, in scripted lives of a host: on the host's thread, or on those of the
// library, each one alone and, less often, with those that follow it. The allocations of a life
// vary from run to run, because its threads do; a cell whose allocation does not come is counted as
// not reached.
//
// Usage: allocations [--every COUNT] [--cell LIFE host|library NUMBER COUNT]
// --every: executes one cell of so many. --cell: executes that one and prints its log;
// TAV_LOG_LEVEL=TRACE makes it longer.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "prove/allocations/failing_allocations.h"
#include "prove/lives/campaign.h"
#include "prove/lives/process.h"

namespace Tav::Testing {

namespace {

// How many allocations fail in a row, and every how many-th one begins such a row.
struct Row {
  int length;
  int step;
};
constexpr Row kRows[] = {{1, 1}, {10, 7}, {200, 29}, {2000, 97}};
constexpr const char* kThreads[] = {"host", "library"};

Plan PlanOf(const Life& life, const std::string& where, int ordinal, int count) {
  return {&life, {where, std::to_string(ordinal), std::to_string(count)}};
}

int Prove(Campaign& campaign, int every) {
  Tally total;
  int number = 0;
  for (size_t i = kFirstProvedLife; i < std::size(kLives); ++i) {
    std::map<std::string, int> counts =
        campaign.Measure(kLives[i], PlanOf(kLives[i], kThreads[0], 0, 0).fault);
    if (counts.empty()) {
      return 1;
    }
    for (const char* const where : kThreads) {
      for (const Row& row : kRows) {
        Tally tally;
        for (int ordinal = 1; ordinal <= counts[where]; ordinal += row.step) {
          if (number++ % every == 0) {
            tally.Add(campaign.Execute(PlanOf(kLives[i], where, ordinal, row.length)));
          }
        }
        std::printf(
            "%-8s %-8s %5d allocations, %4d fail: %5d cells %4d not reached %4d lost and "
            "said so %d failed\n",
            kLives[i].name, where, counts[where], row.length, tally.cells, tally.notReached,
            tally.withLoss, tally.failed);
        std::fflush(stdout);
        total.Add(tally);
      }
    }
  }
  return Conclude(total, "allocations that fail, on two kinds of threads in " +
                             std::to_string(std::size(kLives) - kFirstProvedLife) + " lives");
}

int Main(const Lines& arguments) {
  constexpr size_t kCellArguments = 5;
  Campaign campaign("allocations");
  if (!campaign.Prepare()) {
    std::printf("the earlier runs fail\n");
    return 1;
  }
  if (arguments.size() == kCellArguments && arguments[0] == "--cell") {
    const Life* const life = FindLife(arguments[1]);
    return life == nullptr
               ? 2
               : campaign.Show(PlanOf(*life, arguments[2], std::atoi(arguments[3].c_str()),
                                      std::atoi(arguments[4].c_str())));
  }
  const bool some = arguments.size() == 2 && arguments[0] == "--every";
  return Prove(campaign, some ? std::max(std::atoi(arguments[1].c_str()), 1) : 1);
}

// Of the child.
Lines faultOfChild;

void FailInChild() {
  FailAllocations(
      faultOfChild[0] == kThreads[0] ? AllocatingThread::Host : AllocatingThread::Library,
      std::atoi(faultOfChild[1].c_str()), std::atoi(faultOfChild[2].c_str()));
}

}  // namespace

// FOLDER LIFE, and for a life of the campaign host|library NUMBER COUNT.
int ChildMain(const std::vector<std::string>& arguments) {
  constexpr size_t kWithFault = 5;
  if (arguments.size() < kWithFault) {
    return Live({arguments.at(0)}, arguments.at(1), [] {}, [] {});
  }
  faultOfChild.assign(arguments.begin() + 2, arguments.end());
  return Live({arguments[0]}, arguments[1], FailInChild, StopFailing);
}

}  // namespace Tav::Testing

int main(int argc, char** argv) {
  const int status = Tav::Testing::RunAsChild(argc, argv);
  return status >= 0 ? status : Tav::Testing::Main({argv + 1, argv + argc});
}
