// The report of what the editor handed over to the library, for comparison with what arrives at the
// gateway. It exists for the demonstration; an editor for users has nothing like it.
#pragma once

#include <span>
#include <string>

#include "noted.h"

namespace DocumentEditor {

struct HandoverReport {
  int sitting = 0;  // number of the program's run
  std::string product;
  std::string productVersion;
  std::string fullVersion;
  std::string component;  // the plug-in that reports
  std::string componentVersion;
  std::string libraryVersion;
  std::span<const Settings::Call> settings;
  std::span<const Notebook> notebooks;
  int commitResult = 0;
  int warnings = 0;  // lines that the library logged as WARN or ERROR
};

// Writes the report as one JSON document in UTF-8: what holds for the run, then a line for each
// note. False when the file cannot be written.
bool WriteReport(const HandoverReport& report, const char* path);

}  // namespace DocumentEditor
