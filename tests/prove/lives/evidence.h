// What a life of a host leaves for the judge, beside its storage folder: a file of lines. Each line
// is in the file when Add returns, also if the process is killed.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Tav::Testing {

enum class Fact : char {
  Reported = 'T',   // an event whose LogEvent is about to be called; it may be delivered or not
  Accepted = 'A',   // an event whose LogEvent returned without a complaint in the log
  Delivered = 'D',  // the text of a record that the gateway has accepted
  Logged = 'L',     // a line of the library's log
  Commit = 'C',     // the result of a Commit
  Hit = 'H',        // the operation that the fault of the cell met
  Counted = 'N',    // the operations of one kind: a number and the kind
  Ended = 'E',      // the script was executed to its end
};

// In the process of the life. One file in a process.
void BeginEvidence(const std::string& path);
// Any thread; allocates nothing.
void Add(Fact fact, std::string_view text);

// In the judge's process.
using Lines = std::vector<std::string>;
struct Evidence {
  std::map<char, Lines> facts;

  // A line that the end of the process has cut is left out.
  explicit Evidence(const std::string& path);
  const Lines& Of(Fact fact) const;
};

}  // namespace Tav::Testing
