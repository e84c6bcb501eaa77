// The hardware part of the client description: the WMI queries, and the labels and texts that their
// rows become. machine/client_wmi_job.h runs the queries.
#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Tav {

// The description of the client machine: texts by label, ordered byte-wise. All UTF-8.
using ClientEnv = std::map<std::string, std::string>;

enum class WmiCategory : int {
  ComputerSystem = 0,
  Processors = 1,
  DiskDrives = 2,
  VideoCards = 3,
};

// A queried property, and how its text is shown.
struct WmiProperty {
  std::string_view name;
  std::string_view label;
  // The text is a number of bytes above zero and is shown with a unit.
  bool isSize = false;
  // A row in which the property has this text is dropped; empty for none.
  std::string_view excluded = {};
};

// The texts of one row by property name, without empty ones.
using WmiRow = std::map<std::string, std::string, std::less<>>;

struct WmiQuery {
  WmiCategory category;
  std::string text;
  std::span<const WmiProperty> properties;  // in the order of the query's text
  std::vector<WmiRow> rows;                 // the result
};

// Nothing, with a message, for a number without a category.
std::optional<WmiQuery> MakeWmiQuery(WmiCategory category);

// The queries of all categories, in the order in which they are run.
std::vector<WmiQuery> MakeWmiQueries();

// Adds the labels and texts of a query's rows. Rows that are dropped are not numbered.
void AddWmiKeys(const WmiQuery& query, ClientEnv& env);

// Whether AddWmiKeys could have added the label.
bool IsWmiLabel(std::string_view label);

}  // namespace Tav
