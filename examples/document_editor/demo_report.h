// The report of what the editor passed to the library, which the demonstration compares with what
// arrives at the gateway. Not part of a real application.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "noted.h"

namespace DocumentEditor {

struct DemoReport {
  int run = 0;  // number of the program's run
  std::string product;
  std::string productVersion;
  std::string fullVersion;
  std::string component;  // the plug-in that reports
  std::string componentVersion;
  std::string libraryVersion;
  std::span<const Settings::Call> settings;
  std::span<const Notebook> notebooks;
  std::optional<bool> isAllSent;  // the result of Commit; nothing if the process died before
  int warnings = 0;               // lines that the library logged as WARN or ERROR
};

// Writes the report as one JSON document in UTF-8: the properties of the run, then one line for
// each note. False if the file cannot be written.
bool WriteReport(const DemoReport& report, const char* path);

}  // namespace DocumentEditor
