#include "machine/client_wmi.h"

#include <gtest/gtest.h>

namespace Tav {
namespace {

ClientEnv KeysOf(WmiCategory category, std::vector<WmiRow> rows) {
  WmiQuery query = MakeWmiQuery(category).value_or(WmiQuery{});
  query.rows = std::move(rows);
  ClientEnv env;
  AddWmiKeys(query, env);
  return env;
}

TEST(ClientWmiTest, QueriesThePropertiesOfEachCategory) {
  std::vector<WmiCategory> order;
  for (const WmiQuery& query : MakeWmiQueries()) {
    order.push_back(query.category);
  }
  EXPECT_EQ(order,
            (std::vector<WmiCategory>{WmiCategory::VideoCards, WmiCategory::DiskDrives,
                                      WmiCategory::Processors, WmiCategory::ComputerSystem}));
  EXPECT_EQ(MakeWmiQueries()[1].text, "SELECT Model,Size,MediaType FROM Win32_DiskDrive");
  EXPECT_FALSE(MakeWmiQuery(WmiCategory{4}) || MakeWmiQuery(WmiCategory{-1}));
}

TEST(ClientWmiTest, DroppedRowsAreNotNumbered) {
  const WmiRow good{{"Model", "M"}, {"Size", "500107862016"}, {"MediaType", "Fixed"}};
  std::vector<WmiRow> rows(7, good);
  rows[0]["MediaType"] = "Removable Media";
  rows[1]["Size"] = "0";
  rows[2]["Size"] = "none";
  rows[3]["Size"] = "-1";
  rows[4]["Model"] = "";
  rows[5]["Serial"] = "1";
  rows.insert(rows.end(), {{}, {{"Model", "Second"}}});
  EXPECT_EQ(KeysOf(WmiCategory::DiskDrives, rows),
            (ClientEnv{{"Disk Drives.Disk Drive1 Media Type", "Fixed"},
                       {"Disk Drives.Disk Drive1 Model", "M"},
                       {"Disk Drives.Disk Drive1 Size", "466 GB"},
                       {"Disk Drives.Disk Drive2 Model", "Second"}}));
  EXPECT_EQ(KeysOf(WmiCategory::VideoCards, {{{"Name", "VNC Mirror Driver"}}, {{"Name", "Card"}}}),
            (ClientEnv{{"Video Cards.Video Card1 Name", "Card"}}));
  // An excluded text drops rows only by its own property.
  EXPECT_EQ(
      KeysOf(WmiCategory::Processors, {{{"Name", "Removable Media"}, {"NumberOfCores", "0"}}}),
      (ClientEnv{{"Processors.Processor1 Name", "Removable Media"},
                 {"Processors.Processor1 Number of Cores", "0"}}));
}

}  // namespace
}  // namespace Tav
