#include "session/record_builder.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "session/data_block.h"
#include "session/event_batch.h"
#include "session/session_environment.h"
#include "support/captured_log.h"
#include "support/failing_json.h"
#include "support/logged_events.h"
#include "support/records.h"

namespace Tav {
namespace {

using Testing::CapturedLog;
using Testing::Expand;
using Testing::Text;
using Testing::TextAt;

class RecordBuilderTest : public testing::Test {
 protected:
  RecordBuilderTest() {
    builder_.SetMaxRecordSize(511800);
    builder_.SetBreadcrumbLength(2);
  }

  // May be changed until the next record is built.
  TavEvent_s* Add(TavEvent_s* event) {
    added_.push_back(event);
    return event;
  }
  TavEvent_s* Add(std::string_view name, HandleKind kind = HandleKind::Event) {
    return Add(Testing::Event(name, kind));
  }
  TavEvent_s* AddOf(std::string_view component, std::string_view version) {
    TavEvent_s* const event = Add("of_component");
    event->componentName.Assign(component, event->Memory());
    event->componentVersion.Assign(version, event->Memory());
    return event;
  }
  // The next record's document; empty when there is none.
  JsonPtr Build() {
    LogAdded();
    const auto record = builder_.BuildOneJsonRecord(pending_, changes_);
    if (record == nullptr) {
      return JsonPtr();
    }
    changes_.OnRecordBuilt(record->carried);
    JsonPtr document = Expand(*record);
    EXPECT_EQ(ExpandGZip(record->bytes), Text(document.Get())) << "compact";
    return document;
  }
  // The `index`-th event of a record.
  static json_t* EventAt(const JsonPtr& record, size_t index) {
    return json_array_get(json_object_get(record.Get(), "rt"), index);
  }
  static std::string Keys(const json_t* object) {
    std::string keys;
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(const_cast<json_t*>(object), key, value) {
      keys += (keys.empty() ? "" : " ") + std::string(key);
    }
    return keys;
  }

  static PendingProductValues Values() {
    PendingProductValues values;
    values["Edition"].value = EnvValue::String("Pro");
    return values;
  }

  void LogAdded() {
    for (TavEvent_s* const event : std::exchange(added_, {})) {
      pending_.Append(Testing::AppendTo(log_, event));
    }
  }

  const PendingProductValues values_ = Values();
  ProductInfo product_{"Product", "1.2", &values_};
  ClientEnv client_;
  UnsentChanges changes_;
  RecordBuilder builder_{product_, client_, Consent(false)};
  std::vector<TavEvent_s*> added_;
  EventLog log_;
  PendingEvents pending_{log_.Reader()};
};

TEST_F(RecordBuilderTest, HeaderKeysStandInTheirOrder) {
  Add("e");
  EXPECT_EQ(Keys(Build().Get()), "pn pv pp sv tv ep pt rt");

  RecordHeader header;
  header.endpointId = "02X1";
  header.customerId = "cust";
  header.userId = "user";
  header.productContext = "ctx";
  header.productComponentName = "comp";
  header.tags["Edition"] = {"Pro", "Beta"};
  builder_.Header().Set(std::move(header));
  changes_.OnProductChanged();
  AddOf("Viewer", "7");
  const JsonPtr record = Build();
  EXPECT_EQ(Keys(record.Get()), "pn pv pp sv tv ep c u px pc pt pe rt can cav");
  EXPECT_EQ(TextAt(record.Get(), "pp"), "wntx64");
  EXPECT_EQ(TextAt(record.Get(), "sv"), "2.8.2.1187559");
  EXPECT_EQ(json_integer_value(json_object_get(record.Get(), "tv")), 3);
  EXPECT_EQ(Text(json_object_get(record.Get(), "pt")), R"({"Edition":["Pro","Beta"]})");
  EXPECT_EQ(TextAt(record.Get(), "can") + TextAt(record.Get(), "cav"), "Viewer7");
}

TEST_F(RecordBuilderTest, EventMembersDependOnTheKind) {
  EnvMap environment;
  environment["Theme"] = EnvValue::String("dark");
  environment["Scale"] = EnvValue::Number(1.5);
  builder_.SetSessionEnvironment(MakeSessionEnvironment(&environment));
  AddEventString(*Add("edit"), "k", "v");
  Add("place", HandleKind::Marker);
  Add("plain");
  const JsonPtr record = Build();
  EXPECT_EQ(Keys(EventAt(record, 0)), "t s m v se");
  EXPECT_EQ(Keys(EventAt(record, 1)), "t s g");
  EXPECT_EQ(Keys(EventAt(record, 2)), "t s m se");
  EXPECT_EQ(Text(json_object_get(EventAt(record, 0), "se")), R"({"Scale":1.5,"Theme":"dark"})");
  EXPECT_EQ(TextAt(EventAt(record, 0), "s"), Testing::kSession);
  EXPECT_EQ(TextAt(EventAt(record, 1), "g"), "place");
}

TEST_F(RecordBuilderTest, ARecordIsCutWhereTheNextEventWouldPassItsSize) {
  CapturedLog log;
  builder_.SetMaxRecordSize(600);
  for (int i = 0; i < 6; ++i) {
    TavEvent_s* const event = Testing::Event("event");
    AddEventString(*event, "text", std::string(100, 'x'));
    Add(event);
  }
  size_t total = 0;
  while (const JsonPtr record = Build()) {
    const size_t count = json_array_size(json_object_get(record.Get(), "rt"));
    EXPECT_EQ(count, 2u);
    total += count;
  }
  EXPECT_EQ(total, 6u);
  EXPECT_NE(log.Find("SM: Record full. size="), "");
  EXPECT_EQ(pending_.EstimatedSize(), 0);
  // An event too large for any record still gets one of its own.
  TavEvent_s* const large = Testing::Event("large");
  AddEventString(*large, "text", std::string(5000, 'x'));
  Add(large);
  Add("next");
  EXPECT_EQ(json_array_size(json_object_get(Build().Get(), "rt")), 1u);
  EXPECT_EQ(json_array_size(json_object_get(Build().Get(), "rt")), 1u);
}

TEST_F(RecordBuilderTest, ComponentsAndTheirVersionsNeverShareARecord) {
  Add("host");
  AddOf("Viewer", "1");
  AddOf("Viewer", "1");
  AddOf("Viewer", "2");
  AddOf("Editor", "2");
  std::string seen;
  while (const JsonPtr record = Build()) {
    seen += TextAt(record.Get(), "can") + TextAt(record.Get(), "cav") + ":" +
            std::to_string(json_array_size(json_object_get(record.Get(), "rt"))) + " ";
  }
  EXPECT_EQ(seen, ":1 Viewer1:2 Viewer2:1 Editor2:1 ");
}

TEST_F(RecordBuilderTest, ChangedDataGoesAloneWhenThereAreNoEvents) {
  EXPECT_FALSE(Build());
  changes_.OnProductChanged();
  const JsonPtr record = Build();
  EXPECT_EQ(Keys(record.Get()), "pn pv pp sv tv ep pt pe");
  EXPECT_EQ(TextAt(json_object_get(record.Get(), "pe"), "std-Incremental"), "false");
  EXPECT_FALSE(Build());
  // After an opt-out nothing describes the machine.
  client_["OsArch"] = "x86_64";
  changes_.OnProductStored();
  changes_.OnMachineChanged();
  RecordBuilder optedOut(product_, client_, Consent(true));
  EXPECT_EQ(Keys(Expand(*optedOut.BuildOneJsonRecord(pending_, changes_)).Get()),
            "pn pv pp sv tv ep pt");
  EXPECT_EQ(Keys(Build().Get()), "pn pv pp sv tv ep pt ce");
}

TEST_F(RecordBuilderTest, RecentPlacesAndCommandsOfItsSessionFollowAnError) {
  for (const char* place : {"$b", "first", "second", "$i", "third"}) {
    Add(place, HandleKind::Marker);
  }
  AddEventString(*Add("std-Cmd", HandleKind::Command), "std-Name", "save");
  Add(CreateEvent(HandleKind::Marker, "elsewhere", "another-session"));
  AddEventString(*Add("std-Error", HandleKind::Error), "std-ErrCode", "E1");
  Add("$e", HandleKind::Marker);
  AddEventString(*Add("std-Error", HandleKind::Error), "std-ErrCode", "E2");
  const JsonPtr record = Build();
  EXPECT_EQ(Text(json_object_get(EventAt(record, 7), "v")),
            R"({"std-ErrCode":"E1","std-Place":["second","third"],"std-Cmd":["save"]})");
  EXPECT_EQ(Text(json_object_get(EventAt(record, 9), "v")), R"({"std-ErrCode":"E2"})");
}

TEST_F(RecordBuilderTest, ARecordThatIsBuiltAgainHasTheSameBreadcrumbs) {
  builder_.SetBreadcrumbLength(10);
  Add("place", HandleKind::Marker);
  AddEventString(*Add("std-Cmd", HandleKind::Command), "std-Name", "save");
  AddEventString(*Add("std-Error", HandleKind::Error), "std-ErrCode", "E1");
  Add("$e", HandleKind::Marker);
  LogAdded();
  const PendingEvents::Mark mark = pending_.GetMark();
  builder_.SetMark();
  std::unique_ptr<BuiltRecord> record;
  int failures = 0;
  while (record == nullptr) {
    const Testing::FailingJson failing(failures);
    try {
      record = builder_.BuildOneJsonRecord(pending_, changes_);
    } catch (const std::bad_alloc&) {
      ++failures;
      pending_.ReturnTo(mark);
      builder_.ReturnToMark();
      builder_.SetMark();
    }
  }
  EXPECT_GT(failures, 20);
  EXPECT_EQ(Text(json_object_get(EventAt(Expand(*record), 2), "v")),
            R"({"std-ErrCode":"E1","std-Place":["place"],"std-Cmd":["save"]})");
}

TEST_F(RecordBuilderTest, ADataBlockIsTheRecordAndNothingElseIsTaken) {
  Add("carried");
  LogAdded();
  const auto record = builder_.BuildOneJsonRecord(pending_, changes_);
  const std::string block = ToDataBlock(*record);
  std::string reason;
  const auto back = FromDataBlock(block, reason);
  ASSERT_NE(back, nullptr) << reason;
  EXPECT_EQ(back->bytes, record->bytes);

  BuiltRecord damaged;
  damaged.bytes = record->bytes;
  damaged.bytes[damaged.bytes.size() / 2] ^= 0x55;
  BuiltRecord cut;
  cut.bytes.assign(record->bytes.begin(), record->bytes.end() - 9);
  for (const std::string& bad : {std::string(), std::string("no base64!"), std::string("Zm9v"),
                                 ToDataBlock(damaged), ToDataBlock(cut), block + "="}) {
    reason.clear();
    EXPECT_EQ(FromDataBlock(bad, reason), nullptr);
    EXPECT_NE(reason, "");
  }
}

}  // namespace
}  // namespace Tav
