// The report of what the editor handed over to the library, for comparison with what arrives at the
// gateway. It exists for the demonstration; an editor for users has nothing like it.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "reporter.h"

namespace DocumentEditor {

struct HandoverReport {
  int sitting = 0;  // number of the program's run
  std::string product;
  std::string libraryVersion;
  std::vector<Property> sessionEnvironment;  // what each event has to carry
  std::span<const Reporter* const> reporters;
  int commitResult = 0;
  int warnings = 0;  // lines that the library logged as WARN or ERROR
};

// Events of all reporters.
std::size_t TotalEvents(const HandoverReport& report);

// Writes the report as one JSON document in UTF-8, counts first, then every event. False when the
// file cannot be written.
bool WriteReport(const HandoverReport& report, const char* path);

}  // namespace DocumentEditor
