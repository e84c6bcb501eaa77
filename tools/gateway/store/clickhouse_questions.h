// The questions of questions.h as ClickHouse's SQL, and its answers as theirs.
#pragma once

#include <string>
#include <string_view>

#include "gateway/store/clickhouse_client.h"
#include "gateway/store/questions.h"
#include "gateway/store/store.h"

namespace Gateway {

// Asks and blocks for 12 seconds at most; the server gives up after 10. Statements are sent as ones
// that may not write.
Answer AskClickHouse(ClickHouseClient& client, const Query& query);

// Reads one number. False if the server fails, with its reason in `error`.
bool ReadClickHouseNumber(ClickHouseClient& client,
                          std::string_view sql,
                          std::int64_t& number,
                          std::string& error);

}  // namespace Gateway
