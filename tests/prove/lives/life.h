// Lives of a host: what it does through the table of entry points, written as a script.
//
//   offline         the gateway is down from now on
//   online          it is up again
//   accept COUNT    it goes down after so many more records
//   start           Initialize
//   sync            waits until the session thread has done what was queued, and the rest of that
//                   turn: flushes, one step of the recovery
//   log COUNT       reports events of several kinds and sizes, each with a name of its own
//   value TEXT      changes a product value
//   commit          Commit
//   deliver         Commit until everything is sent, ten times at most
//   terminate       Terminate
//   die             the process is killed
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Tav::Testing {

struct Life {
  const char* name;
  const char* script;
  bool fresh = false;  // no storage folder, instead of what two earlier runs have left in theirs
};

inline constexpr size_t kFirstProvedLife = 3;
inline constexpr Life kLives[] = {
    // Two runs before those of the campaign: the first one leaves cache files, the second one a
    // journal. The one after it delivers what is left.
    {"caching", "offline start sync log 8 commit sync terminate"},
    {"killed", "offline start sync log 8 sync die"},
    {"after", "start sync log 1 deliver terminate"},
    // These are proved.
    {"online",
     "value One start sync log 8 commit sync value Two offline log 8 commit sync log 4 commit sync "
     "online commit log 6 terminate"},
    {"offline",
     "offline value One start sync log 8 commit sync accept 3 commit sync offline log 6 commit "
     "sync online commit value Two log 8 sync offline log 4 terminate"},
    {"fresh", "start sync log 8 commit offline log 4 commit sync log 4 terminate", true},
};

// A product that has stored something before the lives, except before a fresh one.
inline constexpr char kOtherProduct[] = "Bystander";

// Folders and files of one cell. `folder` belongs to the campaign.
struct Cell {
  std::string folder;

  std::string Storage() const { return folder + "/Quendel/Tav"; }
  std::string EvidenceOf(const std::string& life) const { return folder + "/evidence." + life; }
};

// In the child: executes the life. Called before the first entry point of the script, on its only
// thread: `begin`; after the last one: `end`. Returns 0.
int Live(const Cell& cell, const std::string& life, void (*begin)(), void (*end)());

// In the parent: makes a folder with what the two earlier runs leave. The child's arguments are
// "FOLDER LIFE", and it must call Live. False if one of them does not end as it should.
bool LeaveEarlierRuns(const Cell& cell);

}  // namespace Tav::Testing
