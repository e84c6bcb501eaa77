// Executes the cells of a campaign: lives of a host with one fault each, and what comes before and
// after them.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "prove/lives/evidence.h"
#include "prove/lives/life.h"

namespace Tav::Testing {

struct Plan {
  const Life* life = nullptr;
  Lines fault;          // the arguments that the child gets after its folder and the life
  bool kills = false;   // the fault ends the process
  bool isCalm = false;  // there is no fault

  std::string Name() const;
};

struct Tally {
  int cells = 0;
  int notReached = 0;  // the fault met nothing
  int withLoss = 0;    // events were lost, and the log said so
  int failed = 0;

  void Add(const Tally& other);
};

class Campaign {
 public:
  // Works in a temporary folder with this name, which it removes at the end.
  explicit Campaign(const std::string& name);
  ~Campaign();
  Campaign(const Campaign&) = delete;
  Campaign& operator=(const Campaign&) = delete;

  // Leaves what was before the lives. False if that fails.
  bool Prepare();
  // Executes a cell and prints what is wrong with it.
  Tally Execute(const Plan& plan);
  // Executes a life without a fault. Returns the numbers of its evidence, by their names. `fault`
  // is the plan of one that meets nothing.
  std::map<std::string, int> Measure(const Life& life, const Lines& fault);
  // Executes a cell and prints its log. Returns an exit status.
  int Show(const Plan& plan);

 private:
  void PutEarlierRuns(const Life& life) const;

  const std::string root_;
  const Cell earlier_{root_ + "/earlier"};
  const Cell cell_{root_ + "/cell"};
};

// Null if there is none of this name.
const Life* FindLife(const std::string& name);

// Prints the last line of a campaign and returns its exit status.
int Conclude(const Tally& total, const std::string& what);

}  // namespace Tav::Testing
