// Chooses a store by the text after --store.
#pragma once

#include <memory>
#include <string>

#include "gateway/store/store.h"

namespace Gateway {

struct StoreOptions {
  std::string where;      // a file for SQLite, or the URL of ClickHouse with a database's name
  int retentionDays = 0;  // 0 keeps records for ever
};

// Whether `where` is a URL and not a file.
bool IsUrl(const std::string& where);

// Opens or creates the store. Null on failure, with the reason in `error`. Blocks.
std::unique_ptr<Store> OpenStore(const StoreOptions& options, std::string& error);

}  // namespace Gateway
