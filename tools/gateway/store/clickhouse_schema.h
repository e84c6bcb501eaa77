// The tables and views of ClickHouse.
//
// A record is a row of record_rows and a row of event_rows for each event. Every attempt to store
// it takes a new random `copy` and inserts the events before the record, so that the row in
// record_rows commits them. A record that was sent twice, or whose first attempt was answered by
// nothing, may have several copies: only the least in record_rows counts. Events of other copies,
// and those whose record's row was never written, are invisible in the views records_view and
// events_view, on which the other views are built.
//
// Both tables are partitioned by day of arrival, in which form the retention drops them. event_rows
// is ordered by session: a session's events lie together, and what they have in common is stored
// for next to nothing.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Gateway {

// Statements that create what is missing, to be run in this order. `database` is a plain name.
std::vector<std::string> ClickHouseSchema(std::string_view database);

// The tables, in the order in which rows are inserted.
inline constexpr std::string_view kClickHouseTables[] = {"event_rows", "record_rows"};

}  // namespace Gateway
