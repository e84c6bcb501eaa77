// What a host reports arrives at the gateway: once, in order, well-formed. The build for Windows
// runs this suite with HTTP and with HTTPS.
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "system/host.h"

namespace Tav::Testing {
namespace {

using DeliveryTest = HostTest;

json_t* Properties(const json_t* arrival) {
  return json_object_get(json_object_get(arrival, "event"), "v");
}

double Number(const json_t* arrival, const char* property) {
  return json_number_value(json_object_get(Properties(arrival), property));
}

TEST_F(DeliveryTest, FourThreadsAtFullSpeedLoseDoubleAndReorderNothing) {
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
  ExpectNoBadRecords();
  EXPECT_EQ(GatewayCount("events"), kThreads * kEvents + 1);  // and the session's begin
  constexpr int kPage = 20000;
  std::map<int, int> next;
  for (int from = 0; from < kThreads * kEvents; from += kPage) {
    const JsonPtr page = GatewayGet("api/events?name=burst&from=" + std::to_string(from) +
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

TEST_F(DeliveryTest, EventsOfSeveralSessionsArriveInOrder) {
  Initialize();
  TavSession_s* const first = tav_->SessionBegin();
  TavSession_s* const second = tav_->SessionBegin();
  tav_->SessionLogPlace(first, "Page");
  tav_->LogPlace("Start");
  tav_->SessionLogIdle(second);
  tav_->LogIdle();
  TavEvent_s* const late = tav_->SessionNewEvent(first, "Late");
  TavEvent_s* const event = tav_->SessionNewEvent(second, "Open");
  tav_->AddEventProperty(event, "File", "a.pdf");
  tav_->AddNumericEventProperty(event, "Zoom", 0.1);
  tav_->AddEventProperty(event, "File", "b.pdf");
  tav_->LogEvent(event);
  tav_->SessionEnd(first);
  tav_->LogEvent(late);
  tav_->SessionEnd(second);
  Stop();
  EXPECT_EQ(ArrivedEvents(), (Lines{
                                 R"(1 {"g":"$b"})",
                                 R"(2 {"g":"$b"})",
                                 R"(1 {"g":"Page"})",
                                 R"(3 {"g":"$b"})",
                                 R"(3 {"g":"Start"})",
                                 R"(2 {"g":"$i"})",
                                 R"(3 {"g":"$i"})",
                                 R"(2 {"m":"Open","v":{"File":"b.pdf","Zoom":0.1}})",
                                 R"(1 {"g":"$e"})",
                                 R"(1 {"m":"Late"})",
                                 R"(2 {"g":"$e"})",
                                 R"(3 {"g":"$e"})",
                             }));
}

TEST_F(DeliveryTest, TextsOfAllLanguagesArriveAndInvalidUtf8IsRepaired) {
  Initialize();
  TavEvent_s* const event = tav_->NewEvent("  \xE6\x96\x87\xE6\x9B\xB8  ");
  tav_->AddEventProperty(event, "emoji", " \xF0\x9F\x93\x84 ");
  tav_->AddEventProperty(event, "latin1", "\xE9t\xE9");
  tav_->AddEventProperty(event, "empty", "");
  tav_->AddEventProperty(event, "null", nullptr);
  tav_->LogEvent(event);
  Stop();
  EXPECT_EQ(ArrivedEvents()[1],
            "1 {\"m\":\"\xE6\x96\x87\xE6\x9B\xB8\",\"v\":{\"emoji\":\" \xF0\x9F\x93\x84 \","
            "\"latin1\":\"\xC3\xA9t\xC3\xA9\",\"empty\":\"\",\"null\":\"\"}}");
}

TEST_F(DeliveryTest, RefusedAndDroppedRecordsAreSentAgain) {
  Initialize();
  EXPECT_EQ(tav_->Commit(), 0);
  for (const char* fault :
       {R"({"kind":"status","status":503,"count":1})", R"({"kind":"drop","count":1})"}) {
    GatewayPost("api/faults", fault);
    tav_->LogEvent(tav_->NewEvent("later"));
    EXPECT_EQ(tav_->Commit(), 1) << fault;
  }
  EXPECT_EQ(TimesArrived("later"), 0u);
  EXPECT_EQ(tav_->Commit(), 0);
  EXPECT_EQ(TimesArrived("later"), 2u);
  ExpectNoBadRecords();
}

TEST_F(DeliveryTest, TheMachineIsDescribedOnceADay) {
  std::filesystem::remove(Folder() / "TsTavData");
  const auto descriptions = [] {
    Lines found;
    for (const JsonPtr& record : Records()) {
      found.push_back(Member(record, "ce"));
    }
    std::erase(found, "");
    return found;
  };
  Initialize();
  EXPECT_TRUE(Eventually([&] { return tav_->Commit() == 0 && !descriptions().empty(); }));
  Stop();
  RunOnce("Later");
  EXPECT_EQ(descriptions().size(), 1u);
  // Another server has none.
  UseGateway(GatewayUrl() + "moved/");
  RunOnce("Moved");
  ASSERT_EQ(descriptions().size(), 2u);
  EXPECT_EQ(descriptions()[0], descriptions()[1]);
}

}  // namespace
}  // namespace Tav::Testing
