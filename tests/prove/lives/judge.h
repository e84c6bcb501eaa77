// Judges a cell: whether the life and the run after it have kept what the library promises.
#pragma once

#include <string>

#include "prove/lives/evidence.h"
#include "prove/lives/life.h"
#include "prove/lives/process.h"

namespace Tav::Testing {

struct Verdict {
  Lines complaints;          // empty: the promises were kept
  int accepted = 0;          // events
  int lost = 0;              // accepted events that were never delivered
  std::string account = {};  // the log's line about them
  int twice = 0;             // events that were delivered more than once
};

// Executes the clean run after the life, and judges. `ending` is that of the life. A life without a
// fault (`undisturbed`) must deliver each event once, and without a complaint in the log.
Verdict Judge(const Cell& cell, const Life& life, Ending ending, bool undisturbed);

}  // namespace Tav::Testing
