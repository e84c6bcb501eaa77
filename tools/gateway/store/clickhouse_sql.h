// The questions of questions.h in ClickHouse's SQL. Events count only under the least copy of their
// record. Columns are of the types that RowBinary's reader has: Int64, Float64, String.
#pragma once

#include <span>
#include <string>

#include "gateway/store/questions.h"

namespace Gateway {

// Any question but the histogram. The columns are those of the question; properties take three:
// keys, types and texts, as arrays; the value of a property two: type and text.
std::string ClickHouseQuestion(const Query& query);

// Of a histogram: how many numbers there are, the text of the least and of the greatest.
std::string ClickHouseRange(const Query& query);
// Of a histogram: how many of the edges a number reaches, and how many numbers do.
std::string ClickHouseBins(const Query& query, std::span<const double> edges);

}  // namespace Gateway
