// The demonstration's output, at most 100 columns wide.
#pragma once

#include <jansson.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "demo/comparison.h"

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

// Reads the gateway's summary; false if a count is missing.
bool ReadWireCounts(const json_t* summary, WireCounts& counts);

// A record's text on many lines with its first few events; a line says how many more there are.
// `recordText` must be a JSON object.
std::string RecordExcerpt(std::string_view recordText);

// Whether everything arrived, unchanged and once.
bool Balances(const Comparison& comparison, const HeaderCheck& headers, const WireCounts& wire);

// What arrived by session, component and kind; the differences; the verdict.
std::string LedgerText(const Comparison& comparison,
                       const HeaderCheck& headers,
                       const WireCounts& wire,
                       bool withColours);

}  // namespace Demo
