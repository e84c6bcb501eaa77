// `gateway forget`: deletes what a store has of an endpoint or a user.
#pragma once

#include <cstdio>
#include <string>

#include "gateway/store/open_store.h"

namespace Gateway {

// Returns the exit status: 0 if records were deleted, 1 if there were none, 2 on failure. Gateways
// may use the store meanwhile.
int RunForget(const StoreOptions& options,
              const std::string& digest,
              std::FILE* out,
              std::FILE* errors);

}  // namespace Gateway
