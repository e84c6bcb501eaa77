// Compares what the records say about the product with what the sample host has set.
#pragma once

#include <jansson.h>

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace Demo {

struct HeaderCheck {
  std::size_t altered = 0;        // records that do not say what the host has set
  std::size_t productValues = 0;  // values of the product environment that the host has set
  bool isListMissing = false;     // the first run has to list all of them, and did not
  std::vector<std::string> findings;

  bool Balances() const { return altered == 0 && !isListMissing; }
};

// `reports` are those of the sample host's runs, all of which set the same; `records` is the
// gateway's list of records. Both are borrowed.
HeaderCheck CheckHeaders(std::span<const json_t* const> reports, const json_t* records);

}  // namespace Demo
