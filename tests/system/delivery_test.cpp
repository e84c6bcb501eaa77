// What a host reports arrives at the gateway: once, in order, well-formed.
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "system/host.h"

namespace Tav::Testing {
namespace {

using Delivery = HostTest;

double Number(const json_t* arrival, const char* property) {
  const json_t* const event = json_object_get(arrival, "event");
  return json_number_value(json_object_get(json_object_get(event, "v"), property));
}

std::string Property(const json_t* arrival, const char* property) {
  const json_t* const event = json_object_get(arrival, "event");
  return std::string(JsonStringView(json_object_get(json_object_get(event, "v"), property)));
}

TEST(Loader, HandsOutOneTableForOneVersion) {
  EXPECT_EQ(LoadTable(12), nullptr);
  EXPECT_EQ(LoadTable(14), nullptr);
  const TavEntryTable* const table = LoadTable(13);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(LoadTable(13), table);
  EXPECT_STREQ(table->GetVersion(), "2.8.2.1187559");
  table->NoOperation();
}

TEST_F(Delivery, FourThreadsAtFullSpeedLoseDoubleAndReorderNothing) {
  constexpr int kThreads = 4;
  constexpr int kEvents = 25000;
  Initialize();
  std::vector<std::thread> hosts;
  for (int host = 0; host < kThreads; ++host) {
    hosts.emplace_back([this, host] {
      for (int i = 0; i < kEvents; ++i) {
        TavEvent_s* const event = tav_->NewEvent("burst");
        tav_->AddNumericEventProperty(event, "host", host);
        tav_->AddNumericEventProperty(event, "serial", i);
        tav_->LogEvent(event);
      }
    });
  }
  for (std::thread& host : hosts) {
    host.join();
  }
  EXPECT_EQ(tav_->Commit(), 0);
  EXPECT_EQ(GatewayCount("bad_records"), 0);
  EXPECT_EQ(GatewayCount("doubled_records"), 0);
  EXPECT_EQ(GatewayCount("events"), kThreads * kEvents + 1);  // and the session's begin
  constexpr int kPage = 20000;
  std::map<int, int> next;
  for (int from = 0; from < kThreads * kEvents; from += kPage) {
    const JsonPtr page = AskGateway("api/events?name=burst&from=" + std::to_string(from) +
                                    "&limit=" + std::to_string(kPage));
    size_t index = 0;
    json_t* arrival = nullptr;
    json_array_foreach(page.Get(), index, arrival) {
      const int host = static_cast<int>(Number(arrival, "host"));
      ASSERT_EQ(Number(arrival, "serial"), next[host]++) << "host " << host;
    }
  }
  for (int host = 0; host < kThreads; ++host) {
    EXPECT_EQ(next[host], kEvents);
  }
}

TEST_F(Delivery, TextsOfAnyLanguageArriveAndBrokenOnesAreRepaired) {
  Initialize();
  TavEvent_s* const event = tav_->NewEvent("  \xE6\x96\x87\xE6\x9B\xB8  ");
  tav_->AddEventProperty(event, "emoji", " \xF0\x9F\x93\x84 ");
  tav_->AddEventProperty(event, "latin1", "\xE9t\xE9");
  tav_->AddEventProperty(event, "empty", "");
  tav_->AddEventProperty(event, "null", nullptr);
  tav_->LogEvent(event);
  EXPECT_EQ(tav_->Commit(), 0);
  const JsonPtr arrived = Arrived("%E6%96%87%E6%9B%B8");
  ASSERT_EQ(json_array_size(arrived.Get()), 1u);
  const json_t* const first = json_array_get(arrived.Get(), 0);
  EXPECT_EQ(Property(first, "emoji"), " \xF0\x9F\x93\x84 ");
  EXPECT_EQ(Property(first, "latin1"), "\xC3\xA9t\xC3\xA9");
  EXPECT_EQ(Property(first, "null"), "");
  EXPECT_EQ(GatewayCount("bad_records"), 0);
}

TEST_F(Delivery, AGatewayThatRefusesOrDropsGetsItLater) {
  Initialize();
  EXPECT_EQ(tav_->Commit(), 0);
  for (const char* fault :
       {R"({"kind":"status","status":503,"count":1})", R"({"kind":"drop","count":1})"}) {
    TellGateway("api/faults", fault);
    tav_->LogEvent(tav_->NewEvent("later"));
    EXPECT_EQ(tav_->Commit(), 1) << fault;
  }
  EXPECT_EQ(json_array_size(Arrived("later").Get()), 0u);
  EXPECT_EQ(tav_->Commit(), 0);
  EXPECT_EQ(json_array_size(Arrived("later").Get()), 2u);
  EXPECT_EQ(GatewayCount("doubled_records"), 0);
}

TEST_F(Delivery, TheProductAndItsChangesArrive) {
  tav_->AddProductInfo("Edition", "Pro");
  TavValue_s* const map = tav_->NewMapValue();
  tav_->AddStringValue(map, "Name", "x");
  tav_->AddNumericValue(map, "Count", 2);
  tav_->AddProductInfoValue("Map", map);
  Initialize();
  EXPECT_EQ(tav_->Commit(), 0);
  tav_->AddNumericProductInfo("Seats", 5);
  EXPECT_EQ(tav_->Commit(), 0);
  const JsonPtr records = AskGateway("api/records");
  ASSERT_EQ(json_array_size(records.Get()), 2u);
  const auto environment = [&](size_t record) {
    return json_object_get(json_object_get(json_array_get(records.Get(), record), "record"), "pe");
  };
  EXPECT_EQ(JsonStringView(json_object_get(environment(0), "Edition")), "Pro");
  EXPECT_EQ(JsonStringView(json_object_get(environment(0), "Map.Name")), "x");
  EXPECT_EQ(JsonStringView(json_object_get(environment(0), "std-AppLanguage")), "en_US");
  EXPECT_EQ(JsonStringView(json_object_get(environment(0), "std-Incremental")), "false");
  EXPECT_EQ(json_number_value(json_object_get(environment(1), "Seats")), 5.0);
  EXPECT_EQ(json_object_get(environment(1), "Edition"), nullptr);
  EXPECT_EQ(JsonStringView(json_object_get(environment(1), "std-Incremental")), "true");
}

TEST_F(Delivery, DataBlocksCarryRecordsRoundTheNetwork) {
  Initialize();
  EXPECT_EQ(tav_->Commit(), 0);
  tav_->Suspend();
  tav_->LogEvent(tav_->NewEvent("carried"));
  char* const block = tav_->PullData();
  ASSERT_NE(block, nullptr);
  // A description of the machine may be waiting, too.
  while (char* const other = tav_->PullData()) {
    tav_->FreeData(other);
  }
  EXPECT_EQ(tav_->Commit(), 0);
  EXPECT_EQ(json_array_size(Arrived("carried").Get()), 0u);
  tav_->PushData(block);
  tav_->FreeData(block);
  EXPECT_EQ(tav_->Commit(), 0);
  EXPECT_EQ(json_array_size(Arrived("carried").Get()), 1u);
}

}  // namespace
}  // namespace Tav::Testing
