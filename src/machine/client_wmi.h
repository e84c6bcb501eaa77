// The questions about the client's hardware to the system's management service, and what becomes of
// the answers. Nothing here knows on which thread it runs.
#pragma once

#include <atomic>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "machine/client_env.h"
#include "machine/deferred_log.h"
#include "platform/wmi.h"

namespace Tav {

// The subjects of the questions, by number: what queries are made of.
constexpr int kWmiComputerSystem = 0;
constexpr int kWmiProcessors = 1;
constexpr int kWmiDiskDrives = 2;
constexpr int kWmiVideoCards = 3;

// What a property of an answer is for.
struct WmiProperty {
  std::string_view name;
  std::string_view label;
  // The text is a number of bytes above zero, and is shown with a unit.
  bool isSize = false;
  // A text that tells that the whole row is of no interest; empty for none.
  std::string_view excluded = {};
};

// The texts of one row by the names of their properties; empty ones are left out.
using WmiRow = std::map<std::string, std::string, std::less<>>;

struct WmiQuery {
  int category;
  std::string text;
  std::span<const WmiProperty> properties;  // in the order in which they are asked for
  std::vector<WmiRow> rows;                 // the answer
};

// Nothing, with a message, for a number that is none of the above.
std::optional<WmiQuery> MakeWmiQuery(int category);

// The four queries in the order in which they are to be run.
std::vector<WmiQuery> MakeWmiQueries();

// Opens the source and fills in the rows of all queries. False when any step failed, or when
// `abandoned` was set meanwhile: then the rows are of no use. Blocks for as long as the source
// does.
bool RunWmiQueries(Platform::WmiSource& source,
                   std::vector<WmiQuery>& queries,
                   const std::atomic<bool>& abandoned,
                   DeferredLog& log);

// Adds the keys of a query's rows; rows that are of no interest are not counted.
void AddWmiKeys(const WmiQuery& query, ClientEnv& env);

}  // namespace Tav
