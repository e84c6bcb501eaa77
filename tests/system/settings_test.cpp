// What a host can set and query: the effects on the records of this run and of later ones.
#include <algorithm>
#include <ctime>
#include <mutex>
#include <string>
#include <vector>

#include "platform/set_environment.h"
#include "system/host.h"

namespace Tav::Testing {
namespace {

using SettingsTest = HostTest;

TEST_F(SettingsTest, ProductValuesAreSentOnceAndWhenTheyChange) {
  tav_->AddProductInfo("Edition", "Pro");
  tav_->AddNumericProductInfo("Seats", 5);
  tav_->AddProductInfo("my-std-key", "reserved");
  TavValue_s* const map = tav_->NewMapValue();
  tav_->AddStringValue(map, "Name", "x");
  tav_->AddNumericValue(map, "Count", 2);
  tav_->AddStringValue(map, "Name", "y");
  tav_->AddProductInfoValue("Map", map);
  Initialize();
  EXPECT_EQ(tav_->Commit(), 0);
  TavValue_s* const list = tav_->NewListValue();
  for (const char* item : {"b", "a", "b"}) {
    tav_->AddListValue(list, item);
  }
  tav_->AddProductInfoValue("List", list);
  Stop();
  tav_->AddProductInfo("Edition", "Pro");
  tav_->AddNumericProductInfo("Seats", 6);
  RunOnce("Second");
  RunOnce("Third");
  Lines environments;
  for (const JsonPtr& record : Records()) {
    environments.push_back(Member(record, "pe"));
  }
  std::erase(environments, "");
  EXPECT_EQ(environments, (Lines{
                              R"({"Edition":"Pro","Map.Count":2.0,"Map.Name":"y","Seats":5.0,)"
                              R"("std-AppLanguage":"en_US","std-FullVersion":"1.0.0",)"
                              R"("std-OptOut":"false","std-Incremental":"false"})",
                              R"({"List:a":"","List:b":"","std-Incremental":"true"})",
                              R"({"Seats":6.0,"std-Incremental":"true"})",
                          }));
}

TEST_F(SettingsTest, AProductValueWhoseRecordWasPulledGoesWithTheNextRecord) {
  Initialize();
  EXPECT_EQ(tav_->Commit(), 0);
  tav_->Suspend();
  tav_->AddProductInfo("Edition", "Pro");
  char* const pulled = tav_->PullData();
  EXPECT_NE(pulled, nullptr);
  tav_->FreeData(pulled);
  EXPECT_EQ(tav_->PullData(), nullptr);
  for (const char* const event : {"First", "Second"}) {
    tav_->LogEvent(tav_->NewEvent(event));
    EXPECT_EQ(tav_->Commit(), 0);
  }
  const std::vector<JsonPtr> records = Records();
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(Member(records[1], "pe"), R"({"Edition":"Pro","std-Incremental":"true"})");
  EXPECT_EQ(Member(records[2], "pe"), "");
}

TEST_F(SettingsTest, SessionValuesIdentifiersAndTagsEndWithTheRun) {
  tav_->AddSessionEnvInfo("Licence", "Trial");
  tav_->AddNumericSessionEnvInfo("Days", 3);
  tav_->AddSessionEnvInfo("Licence", "Full");
  tav_->SetVersionQualifier("beta");
  tav_->SetCustomerIdentifier(" customer-1 ");
  tav_->SetUserIdentifier("user-1");
  tav_->SetProductContext("context");
  tav_->SetProductComponentName("part");
  tav_->SetCustomerIdentifier("");  // refused
  for (const char* tag : {"Pro", "Trial", "Pro"}) {
    tav_->AddTag(TAV_TAG_EDITION, tag);
  }
  tav_->AddTag(TAV_TAG_OTHER, "x");
  tav_->AddTag(TAV_TAG_OTHER + 1, "y");  // refused
  Initialize();
  tav_->AddSessionEnvInfo("Late", "x");  // refused
  tav_->LogPlace("Page");
  tav_->LogEvent(tav_->NewCommandEvent("Copy"));
  Stop();
  const size_t recordsOfFirstRun = Records().size();
  RunOnce("Second");
  EXPECT_EQ(ArrivedEvents(), (Lines{
                                 R"(1 {"g":"$b"})",
                                 R"(1 {"g":"Page"})",
                                 R"(1 {"m":"std-Cmd","v":{"std-Name":"Copy"},)"
                                 R"("se":{"Days":3.0,"Licence":"Full"}})",
                                 R"(1 {"g":"$e"})",
                                 R"(2 {"g":"$b"})",
                                 R"(2 {"m":"Second"})",
                                 R"(2 {"g":"$e"})",
                             }));
  const std::vector<JsonPtr> records = Records();
  ASSERT_GT(records.size(), recordsOfFirstRun);
  constexpr const char* kMembers[][3] = {
      {"pn", R"("System.Test")", R"("System.Test")"},
      {"pv", R"("1.0 - beta")", R"("1.0")"},
      {"c", R"("customer-1")", ""},
      {"u", R"("4b36b65404824ff8834ba754f3c8e8aa")", ""},
      {"px", R"("context")", ""},
      {"pc", R"("part")", ""},
      {"pt", R"({"Edition":["Pro","Trial"],"Other":["x"]})", "{}"},
  };
  for (const auto& [key, first, second] : kMembers) {
    for (size_t i = 0; i < records.size(); ++i) {
      EXPECT_EQ(Member(records[i], key), i < recordsOfFirstRun ? first : second);
    }
  }
}

TEST_F(SettingsTest, QueriesReturnTheDaysOfEarlierRunsAndTheEndpoint) {
  const auto today = [] { return static_cast<int32_t>(std::time(nullptr) / 86400); };
  const int32_t begin = today();
  tav_->SetSendInterval(0xFFFFFFFF, TAV_UNIT_SECONDS);  // only Commit sends
  Initialize();
  EXPECT_EQ(tav_->GetLastActiveTime(), 0);
  EXPECT_EQ(tav_->GetLastServerAccessTime(), 0);
  EXPECT_EQ(tav_->Commit(), 0);
  EXPECT_GE(tav_->GetLastServerAccessTime(), begin);
  EXPECT_LE(tav_->GetLastServerAccessTime(), today());
  Stop();
  Initialize();
  EXPECT_GE(tav_->GetLastActiveTime(), begin);
  EXPECT_LE(tav_->GetLastActiveTime(), today());
  EXPECT_GE(tav_->GetLastServerAccessTime(), begin);
  char whole[64];
  char cut[8] = "???????";
  tav_->GetEndpointIdentifier(whole, sizeof whole);
  tav_->GetEndpointIdentifier(cut, 5);
  EXPECT_EQ(cut, std::string(whole).substr(0, 4));
  EXPECT_EQ(cut[6], '?');
  EXPECT_EQ(Member(Records().front(), "ep"), '"' + std::string(whole) + '"');
}

TEST_F(SettingsTest, IntervalsPostponeSendingToALaterRun) {
  tav_->SetSendInterval(0xFFFFFFFF, TAV_UNIT_SECONDS);  // never
  RunOnce("Never");
  tav_->EnablePersistentInterval();
  tav_->SetSendInterval(1, TAV_UNIT_HOURS);
  RunOnce("NotYet");
  EXPECT_EQ(GatewayCount("requests"), 0);
  EXPECT_FALSE(CacheFiles().empty());
  RunOnce("Now");
  EXPECT_TRUE(CacheFiles().empty());
  ExpectArrived({"Never", "NotYet", "Now"});
}

TEST_F(SettingsTest, DevelopmentModeHasACacheOfItsOwn) {
  UseGateway(kNoServer);
  tav_->SetDebugFlags(1);
  RunOnce("Development");
  EXPECT_EQ(CacheFiles(), (Lines{"TavDCache"}));
  UseGateway(GatewayUrl());
  RunOnce("Production");
  EXPECT_EQ(CacheFiles(), (Lines{"TavDCache"}));
  tav_->SetStateFlags(0, 1);
  RunOnce("Internal");
  tav_->SetDebugFlags(1);
  RunOnce("DevelopmentAgain");
  EXPECT_EQ(CacheFiles(), Lines{});
  ExpectArrived({"Development", "Production", "Internal", "DevelopmentAgain"});
}

std::mutex sinkLock;
Lines received;  // "message: " or "line: " and what the sink of that name got

void Receive(const char* sink, const char* line) {
  const std::lock_guard guard(sinkLock);
  received.push_back(std::string(sink) + ": " + line);
}

void TAV_CALL OnMessage(const char* line) {
  Receive("message", line);
}

void TAV_CALL OnLine(const char* line) {
  Receive("line", line);
}

void ForgetReceived() {
  const std::lock_guard guard(sinkLock);
  received.clear();
}

size_t CountReceived(const char* sink, const std::string& end) {
  const std::lock_guard guard(sinkLock);
  return static_cast<size_t>(std::count_if(received.begin(), received.end(), [&](const auto& line) {
    return line.starts_with(sink) && line.ends_with(end);
  }));
}

const std::string misuse = "error: Tav: TavLogEvent called with a null event";
const std::string detail = "TavSetSendInterval: sendInterval = 7 seconds";

TEST_F(SettingsTest, SinksReceiveTheLog) {
  const auto run = [&] {
    ForgetReceived();
    Initialize();
    tav_->LogEvent(nullptr);
    tav_->SetSendInterval(7, TAV_UNIT_SECONDS);
    Stop();
  };
  SetEnvironment("TAV_LOGFILE", nullptr);
  SetEnvironment("TAV_LOG_LEVEL", nullptr);
  tav_->SetMessageSink(TavSinkPointer(OnMessage));
  tav_->SetLineSink(TavSinkPointer(OnLine));
  run();
  EXPECT_EQ(CountReceived("line", ' ' + misuse), 1u);  // after a time stamp
  EXPECT_EQ(CountReceived("message", detail), 1u);
  // The line sink ends with the run; without it, details are not logged.
  run();
  EXPECT_EQ(CountReceived("line", ""), 0u);
  EXPECT_EQ(CountReceived("message", misuse), 1u);
  EXPECT_EQ(CountReceived("message", detail), 0u);
  // The message sink stays until it is removed.
  tav_->SetMessageSink(nullptr);
  run();
  EXPECT_EQ(CountReceived("message", misuse), 0u);
}

// The last test of the program: EnableDebugLog has an effect until the process ends. A run with it
// is a trial: it neither consumes production's records nor sends them.
TEST_F(SettingsTest, ADebugLogMeansDevelopmentMode) {
  UseGateway(kNoServer);
  RunOnce("Production");
  EXPECT_EQ(CacheFiles(), (Lines{"TavCache"}));
  UseGateway(GatewayUrl());
  ForgetReceived();
  tav_->SetMessageSink(TavSinkPointer(OnMessage));
  tav_->EnableDebugLog();
  tav_->SetDebugFlags(0);  // takes back only its own request
  for (const char* const event : {"Trial", "AnotherTrial"}) {
    Initialize();
    tav_->SetSendInterval(7, TAV_UNIT_SECONDS);
    tav_->LogEvent(tav_->NewEvent(event));
    Stop();
  }
  tav_->SetMessageSink(nullptr);
  EXPECT_EQ(CountReceived("message", detail), 2u);
  EXPECT_EQ(CacheFiles(), (Lines{"TavCache"}));
  ExpectArrived({"Trial", "AnotherTrial"});
}

}  // namespace
}  // namespace Tav::Testing
