// Keeps records in ClickHouse 18.16 or later. Several gateways may use one database.
//
// A record is durable when the inserts have succeeded: it survives the death of the server and of
// the gateway. ClickHouse does not sync its files, so a loss of power can take records that were
// answered.
#pragma once

#include <memory>
#include <string>

#include "gateway/store/store.h"

namespace Gateway {

// `retentionDays` 0 keeps everything. Creates the database and what is missing in it. Waits up to
// 10 seconds for a server that does not answer yet. Null on failure, with the reason in `error`.
std::unique_ptr<Store> OpenClickHouse(const std::string& url,
                                      int retentionDays,
                                      std::string& error);

}  // namespace Gateway
