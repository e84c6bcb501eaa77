// From the bytes of a request to a record with everything that is wrong with it.
#pragma once

#include <cstddef>

#include "gateway/record.h"

namespace Gateway {

// Longest text that a body may expand to.
constexpr std::size_t kMaxExpandedBytes = std::size_t{256} * 1024 * 1024;

// Expands, parses and checks the body. Never fails: what cannot be understood is explained in the
// record's problems. Number, arrival and doubleOf stay unset. Any thread.
Record ReadRecord(IncomingRequest request, std::size_t maxExpandedBytes = kMaxExpandedBytes);

}  // namespace Gateway
