// The library as a host uses it, through the table of entry points. The log and the uploaded
// records are captured in the process.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "api/entry_points.h"
#include "support/captured_log.h"
#include "support/storage_folder.h"
#include "util/json.h"

namespace Tav::Testing {

using Lines = std::vector<std::string>;

// Each test starts with a library that is not initialised, has an empty storage directory, logs at
// TRACE level and sends to the test; each ends with Terminate.
class TableTest : public testing::Test {
 protected:
  TableTest();
  ~TableTest() override;

  // Initializes the library. Nothing is sent before a test requests it, even on a slow machine.
  int Initialize(const char* product,
                 const char* version,
                 const char* fullVersion,
                 int language = TAV_LANGUAGE_EN_US);
  // The product "Editor", version "4.2".
  void Start();
  // Terminates. Everything that was reported has then arrived.
  void Stop() { tav.Terminate(); }

  // The warnings and errors since the last call, with the prefixes "warning: " and "error: ".
  Lines Complaints();
  // Whether the whole line was logged since the test began.
  void ExpectLogged(std::string_view line) { EXPECT_TRUE(Logged(line)) << line; }
  void ExpectNotLogged(std::string_view line) { EXPECT_FALSE(Logged(line)) << line; }
  // The first line that contains `part`; empty if there is none.
  std::string LineWith(std::string_view part);

  // The records that have arrived, in order.
  static std::vector<JsonPtr> Records();
  // The entries of all records' "rt"; those whose event ("m") or marker ("g") has this name.
  static std::vector<JsonPtr> Events();
  static std::vector<JsonPtr> EventsNamed(std::string_view name);
  // The names of all events and markers of one session, in order.
  static Lines NamesIn(std::string_view sessionId);
  // The properties of the event of this name as compact JSON. The test fails unless there is
  // exactly one such event.
  static std::string PropertiesOf(std::string_view name);

  StorageFolder folder_;
  const TavEntryTable& tav = *TavLoader(TAV_INTERFACE_VERSION);

 private:
  void Collect();
  bool Logged(std::string_view line);

  CapturedLog log_;
  Lines lines_;
  size_t complained_ = 0;  // lines that Complaints has examined
};

}  // namespace Tav::Testing
