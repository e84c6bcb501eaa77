// What the demonstration shows on the terminal, at most 100 columns wide.
#pragma once

#include <jansson.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "demo/comparison.h"
#include "demo/record_headers.h"

namespace Demo {

// The gateway's counts that the ledger uses.
struct WireCounts {
  std::uint64_t records = 0;
  std::uint64_t badRecords = 0;
  std::uint64_t doubledRecords = 0;
  std::uint64_t sessions = 0;
  std::uint64_t bytesCompressed = 0;  // bodies of the requests
  std::uint64_t bytesExpanded = 0;
};

// From the gateway's summary; a count that is missing there makes it return false.
bool ReadWireCounts(const json_t* summary, WireCounts& counts);

// A record's text on many lines, cut to its first few events; a line says how many are left out.
// `recordText` must be the text of a JSON object.
std::string RecordExcerpt(std::string_view recordText);

// Whether nothing is missing and nothing is wrong; the verdict of the demonstration.
bool Balances(const Comparison& comparison, const HeaderCheck& headers, const WireCounts& wire);

// What arrived by session, component and kind, what is wrong with it, and the verdict.
std::string LedgerText(const Comparison& comparison,
                       const HeaderCheck& headers,
                       const WireCounts& wire,
                       bool withColours);

}  // namespace Demo
