// What a host sets and asks through each group of slots: what of it arrives at the gateway, what
// comes back, and what a later run still knows.
#include <ctime>
#include <filesystem>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/process.h"
#include "platform/set_environment.h"
#include "system/slot_fixture.h"

namespace Tav::Testing {
namespace {

constexpr int kLanguage = TAV_LANGUAGE_EN_US;

std::mutex keptLock;
Lines keptMessages;
Lines keptLines;

void TAV_CALL KeepMessage(const char* line) {
  const std::lock_guard guard(keptLock);
  keptMessages.emplace_back(line);
}

void TAV_CALL KeepLine(const char* line) {
  const std::lock_guard guard(keptLock);
  keptLines.emplace_back(line);
}

// How many of the lines since the last call end so.
size_t CountEnding(Lines& lines, const std::string& end) {
  const std::lock_guard guard(keptLock);
  size_t count = 0;
  for (const std::string& line : std::exchange(lines, {})) {
    count += line.ends_with(end) ? 1 : 0;
  }
  return count;
}

class SlotSettings : public SlotTest {
 protected:
  // A run that logs one event of that name.
  void RunOnce(const char* event) {
    Initialize();
    tav_->LogEvent(tav_->NewEvent(event));
    Stop();
  }

  // The cache files' names up to the hash of the product.
  Lines CacheFiles() const {
    Lines kinds;
    for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
      const std::string name = entry.path().filename().string();
      if (name.find("Cache_") != std::string::npos) {
        kinds.push_back(name.substr(0, name.find('_')));
      }
    }
    return kinds;
  }
};

TEST_F(SlotSettings, StatusCodesAndAnswersOfALibraryThatDoesNotRun) {
  EXPECT_EQ(tav_->Initialize("A-B", "1.0", "", kLanguage), TAV_BAD_PRODUCT);
  EXPECT_EQ(tav_->Initialize(std::string(33, 'a').c_str(), "1.0", "", kLanguage), TAV_BAD_PRODUCT);
  EXPECT_EQ(tav_->Initialize("A", std::string(33, '1').c_str(), "", kLanguage), TAV_BAD_PRODUCT);
  const std::string folder = Platform::Environment("LOCALAPPDATA").value_or("");
  for (const char* value : {"", static_cast<const char*>(nullptr)}) {
    SetEnvironment("LOCALAPPDATA", value);
    EXPECT_EQ(tav_->Initialize("A", "1.0", "", kLanguage), TAV_NO_LOCAL_APP_DATA);
  }
  SetEnvironment("LOCALAPPDATA", folder.c_str());
  char buffer[] = "?";
  tav_->GetEndpointIdentifier(buffer, sizeof buffer);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(tav_->GetLastServerAccessTime(), -1);
  EXPECT_EQ(tav_->GetLastActiveTime(), -1);
  EXPECT_EQ(tav_->PullData(), nullptr);
  EXPECT_EQ(tav_->CreateComponentAnalytics(), nullptr);
  EXPECT_EQ(tav_->Commit(), 0);
  EXPECT_EQ(GatewayCount("requests"), 0);
  Initialize();
  EXPECT_EQ(tav_->Initialize("A", "1.0", "", kLanguage), TAV_ALREADY_INITIALIZED);
}

TEST_F(SlotSettings, ProductEnvironmentOfSeveralRuns) {
  tav_->AddProductInfo("Edition", "Pro");
  tav_->AddNumericProductInfo("Seats", 5);
  tav_->AddProductInfo("my-std-key", "reserved");
  TavValue_s* const map = tav_->NewMapValue();
  tav_->AddStringValue(map, "Name", "x");
  tav_->AddNumericValue(map, "Count", 2);
  tav_->AddStringValue(map, "Name", "y");
  tav_->AddProductInfoValue("Map", map);
  Initialize();
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
  // Whether the list makes a record of its own depends on when the thread takes it.
  Lines environments;
  for (const JsonPtr& record : Records()) {
    if (std::string environment = Member(record, "pe"); !environment.empty()) {
      environments.push_back(std::move(environment));
    }
  }
  ASSERT_GE(environments.size(), 2u);
  EXPECT_EQ(environments.back(), R"({"Seats":6.0,"std-Incremental":"true"})");
  environments.pop_back();
  std::string first;
  for (const std::string& environment : environments) {
    first += environment;
  }
  for (const char* part :
       {R"("Edition":"Pro")", R"("Seats":5.0)", R"("Map.Name":"y")", R"("Map.Count":2.0)",
        R"("List:a":)", R"("List:b":)", R"("std-AppLanguage":"en_US")", R"("std-OptOut":"false")",
        R"("std-FullVersion":"1.0.0")"}) {
    EXPECT_NE(first.find(part), std::string::npos) << part << " in " << first;
  }
  EXPECT_EQ(first.find("reserved"), std::string::npos);
}

TEST_F(SlotSettings, SessionEnvironmentStandsInEachEventOfARun) {
  tav_->AddSessionEnvInfo("Licence", "Trial");
  tav_->AddNumericSessionEnvInfo("Days", 3);
  tav_->AddSessionEnvInfo("Licence", "Full");
  Initialize();
  tav_->AddSessionEnvInfo("Late", "x");
  tav_->LogPlace("Page");
  tav_->LogEvent(tav_->NewEvent("Open"));
  tav_->LogEvent(tav_->NewCommandEvent("Copy"));
  Stop();
  RunOnce("Later");
  EXPECT_EQ(Told(), (Lines{
                        R"(1 {"g":"$b"})",
                        R"(1 {"g":"Page"})",
                        R"(1 {"m":"Open","se":{"Days":3.0,"Licence":"Full"}})",
                        R"(1 {"m":"std-Cmd","v":{"std-Name":"Copy"},)"
                        R"("se":{"Days":3.0,"Licence":"Full"}})",
                        R"(1 {"g":"$e"})",
                        R"(2 {"g":"$b"})",
                        R"(2 {"m":"Later"})",
                        R"(2 {"g":"$e"})",
                    }));
}

TEST_F(SlotSettings, IdentifiersAndTagsStandInEachRecordOfARun) {
  tav_->SetVersionQualifier("beta");
  tav_->SetCustomerIdentifier(" customer-1 ");
  tav_->SetUserIdentifier("user-1");
  tav_->SetProductContext("context");
  tav_->SetProductComponentName("part");
  tav_->SetCustomerIdentifier("");  // refused: the earlier one stays
  for (const char* tag : {"Pro", "Trial", "Pro"}) {
    tav_->AddTag(TAV_TAG_EDITION, tag);
  }
  tav_->AddTag(TAV_TAG_OTHER, "x");
  tav_->AddTag(TAV_TAG_OTHER + 1, "y");
  RunOnce("First");
  const size_t first = Records().size();
  RunOnce("Second");
  const std::vector<JsonPtr> records = Records();
  ASSERT_GT(records.size(), first);
  for (size_t i = 0; i < records.size(); ++i) {
    const bool isSet = i < first;
    const auto member = [&](const char* key) { return Member(records[i], key); };
    EXPECT_EQ(member("pn"), R"("System.Test")");
    EXPECT_EQ(member("pv"), isSet ? R"("1.0 - beta")" : R"("1.0")");
    EXPECT_EQ(member("c"), isSet ? R"("customer-1")" : "");
    EXPECT_EQ(member("u"), isSet ? R"("4b36b65404824ff8834ba754f3c8e8aa")" : "");
    EXPECT_EQ(member("px"), isSet ? R"("context")" : "");
    EXPECT_EQ(member("pc"), isSet ? R"("part")" : "");
    EXPECT_EQ(member("pt"), isSet ? R"({"Edition":["Pro","Trial"],"Other":["x"]})" : "{}");
  }
}

TEST_F(SlotSettings, QueriesAreAnsweredFromWhatRunsHaveLeft) {
  const auto today = [] { return static_cast<int32_t>(std::time(nullptr) / 86400); };
  const int32_t begin = today();
  Initialize();
  tav_->Suspend();  // nothing is sent before the answers
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
  // What is asked is what the records say.
  char whole[64];
  char cut[8] = "???????";
  tav_->GetEndpointIdentifier(whole, sizeof whole);
  tav_->GetEndpointIdentifier(cut, 5);
  EXPECT_EQ(cut, std::string(whole).substr(0, 4));
  EXPECT_EQ(cut[6], '?');
  EXPECT_EQ(Member(Records().front(), "ep"), '"' + std::string(whole) + '"');
}

TEST_F(SlotSettings, PulledRecordsAreSentByTheRunThatTheyArePushedInto) {
  Initialize();
  EXPECT_EQ(tav_->Commit(), 0);
  tav_->Suspend();
  tav_->LogEvent(tav_->NewEvent("Carried"));
  // The description of the machine, which comes when it is ready, may be a record of its own.
  Lines carried;
  while (char* const block = tav_->PullData()) {
    carried.emplace_back(block);
    tav_->FreeData(block);
    EXPECT_EQ(carried.back().substr(0, 4), "H4sI") << "base64 of gzip";
  }
  EXPECT_FALSE(carried.empty());
  tav_->Resume();
  Stop();
  EXPECT_EQ(json_array_size(Arrived("Carried").Get()), 0u);
  Initialize();
  tav_->PushData("no record");
  tav_->PushData(nullptr);
  for (const std::string& block : carried) {
    tav_->PushData(block.c_str());
  }
  EXPECT_EQ(tav_->Commit(), 0);
  EXPECT_EQ(json_array_size(Arrived("Carried").Get()), 1u);
  EXPECT_EQ(GatewayCount("bad_records"), 0);
}

TEST_F(SlotSettings, IntervalsLeaveWhatIsNotDueToALaterRun) {
  tav_->SetSendInterval(0xFFFFFFFF, TAV_UNIT_SECONDS);  // never
  RunOnce("Never");
  tav_->EnablePersistentInterval();
  tav_->SetSendInterval(1, TAV_UNIT_HOURS);
  RunOnce("NotYet");
  EXPECT_EQ(GatewayCount("requests"), 0);
  EXPECT_FALSE(CacheFiles().empty());
  RunOnce("Now");
  EXPECT_TRUE(CacheFiles().empty());
  Arrivals arrivals;
  arrivals.Collect();
  arrivals.ExpectOnce({"Never", "NotYet", "Now"});
}

TEST_F(SlotSettings, ModesKeepWhatTheyLeaveOnDiskApart) {
  UseGateway(kNobody);
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
  Arrivals arrivals;
  arrivals.Collect();
  arrivals.ExpectOnce({"Development", "Production", "Internal", "DevelopmentAgain"});
}

TEST_F(SlotSettings, OptingOutSendsNothingElse) {
  tav_->AddProductInfo("Edition", "Pro");
  tav_->OptOut();
  RunOnce("OptedOut");
  EXPECT_EQ(Told(), Lines{});
  ASSERT_EQ(Records().size(), 1u);
  EXPECT_EQ(Member(Records().front(), "pe"), R"({"std-OptOut":"true","std-Incremental":"true"})");
  RunOnce("OptedIn");
  EXPECT_EQ(json_array_size(Arrived("OptedIn").Get()), 1u);
}

TEST_F(SlotSettings, SinksReceiveTheLog) {
  const std::string misuse = "error: Tav: TavLogEvent called with a null event";
  const std::string detail = "TavSetSendInterval: sendInterval = 7 seconds";
  const auto run = [&] {
    Initialize();
    tav_->LogEvent(nullptr);
    tav_->SetSendInterval(7, TAV_UNIT_SECONDS);
    Stop();
  };
  SetEnvironment("TAV_LOGFILE", nullptr);
  SetEnvironment("TAV_LOG_LEVEL", nullptr);
  tav_->SetMessageSink(TavSinkPointer(KeepMessage));
  tav_->SetLineSink(TavSinkPointer(KeepLine));
  run();
  EXPECT_EQ(CountEnding(keptLines, ' ' + misuse), 1u);  // a time stamp stands before it
  EXPECT_EQ(CountEnding(keptMessages, detail), 1u);
  // The line sink is forgotten; without it, details are left out.
  run();
  EXPECT_EQ(CountEnding(keptLines, ""), 0u);
  EXPECT_EQ(CountEnding(keptMessages, detail), 0u);
  tav_->EnableDebugLog();
  run();
  EXPECT_EQ(CountEnding(keptMessages, detail), 1u);
  // Taken away with the next start.
  tav_->SetMessageSink(nullptr);
  Initialize();
  CountEnding(keptMessages, "");
  tav_->LogEvent(nullptr);
  Stop();
  EXPECT_EQ(CountEnding(keptMessages, ""), 0u);
}

}  // namespace
}  // namespace Tav::Testing
