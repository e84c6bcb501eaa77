// Records that the server refuses.
#include <memory>
#include <string>
#include <string_view>

#include "session/sending_fixture.h"

namespace Tav {
namespace {

using Testing::Gateway;
using Testing::Names;
using Testing::SessionParts;
using Testing::Wmi;

class RefusedRecordsTest : public Testing::SendingFixture {
 protected:
  static std::unique_ptr<BuiltRecord> RecordOf(std::string_view text) {
    MemoryOutputStream collected;
    GZipOutputStream gzip(&collected);
    gzip.Write(text.data(), text.size());
    gzip.Flush();
    auto record = std::make_unique<BuiltRecord>();
    record->bytes = collected.Join();
    return record;
  }
};

TEST_F(RefusedRecordsTest, ARefusedRecordIsCachedAndTheOthersAreSent) {
  for (const bool fromCache : {false, true}) {
    config_.sendInterval = 1;
    SessionParts run(config_, Wmi("1"));
    EXPECT_TRUE(run.Send());
    const size_t before = Gateway::RecordCount();
    Build(run, {"one", "poison1", "two", "poison2", "three"});
    if (fromCache) {
      run.finalDelivery.CacheUnsent();
    }
    Gateway::refusals = 0;
    Gateway::poisonStatus = 413;
    EXPECT_FALSE(run.delivery.SendToServer());
    EXPECT_EQ(Gateway::RecordCount() - before, 3u);
    EXPECT_EQ(Gateway::refusals, 2) << "each once";
    EXPECT_TRUE(run.delivery.Store().InMemory().Empty());
    EXPECT_GT(CachedBytes(), 0u);
    EXPECT_TRUE(log_.Find("warning: SM: Server refused a record of ")
                    .ends_with(" bytes with status 413. It is tried again later"));
    EXPECT_EQ(run.delivery.Schedule().Failures(), 0);
    EXPECT_EQ(run.delivery.Queue().Backlog().cache, 0) << "reaches no send threshold";

    // New records go out; the refused ones wait for the interval.
    Gateway::poisonStatus = 0;
    EXPECT_TRUE(Testing::Eventually([&] { return run.delivery.SendToServer(); }));
    EXPECT_EQ(Gateway::RecordCount() - before, 5u);
    EXPECT_EQ(CachedBytes(), 0u);
    log_.Take();
  }
}

TEST_F(RefusedRecordsTest, RefusedRecordsWaitForTheIntervalWhateverElseIsSent) {
  SessionParts run(config_, Wmi("1"));
  EXPECT_TRUE(run.Send());
  Gateway::poisonStatus = 400;
  Build(run, {"poison"});
  EXPECT_FALSE(run.delivery.SendToServer());
  EXPECT_FALSE(run.delivery.SendToServer());
  Build(run, {"later"});
  EXPECT_FALSE(run.delivery.SendToServer());
  EXPECT_EQ(Gateway::Events(), Names{"later"});
  run.Terminate();
  EXPECT_EQ(Gateway::refusals, 1);
  Gateway::poisonStatus = 0;
  EXPECT_TRUE(SessionParts(config_, Wmi("1")).Send());
  EXPECT_EQ(Gateway::Events(), (Names{"later", "poison"}));
}

TEST_F(RefusedRecordsTest, ARefusedRecordWaitsInMemoryWhenItCannotBeCached) {
  SessionParts run(config_, Wmi("1"));
  EXPECT_TRUE(run.Send());
  run.delivery.Store().OpenCache(std::make_unique<CacheManager>("/nowhere", "none"), false);
  Gateway::poisonStatus = 400;
  Build(run, {"poison1", "poison2", "good"});
  EXPECT_FALSE(run.delivery.SendToServer());
  EXPECT_FALSE(run.delivery.SendToServer());
  EXPECT_EQ(Gateway::Events(), Names{"good"});
  EXPECT_EQ(run.delivery.Store().InMemory().Count(), 2u);
  EXPECT_EQ(Gateway::refusals, 2);
}

TEST_F(RefusedRecordsTest, AServerThatRefusesEverythingIsLeftAloneForTheBackOff) {
  SessionParts run(config_, Wmi("1"));
  EXPECT_TRUE(run.Send());
  Gateway::poisonStatus = 403;
  Names poisons = Numbered(20);
  for (std::string& name : poisons) {
    name += "poison";
  }
  Build(run, poisons);
  EXPECT_FALSE(run.delivery.SendToServer());
  EXPECT_EQ(Gateway::refusals, 16);
  EXPECT_EQ(run.delivery.Schedule().Failures(), 1);
  // So is one that takes no records for now, after the first attempt.
  Gateway::poisonStatus = 429;
  EXPECT_FALSE(run.delivery.SendToServer());
  EXPECT_EQ(Gateway::refusals, 17);
  EXPECT_EQ(run.delivery.Schedule().Failures(), 2);
}

TEST_F(RefusedRecordsTest, ARefusedRecordIsDroppedWhenItsEventsAreTooOld) {
  SessionParts run(config_, Wmi("1"));
  EXPECT_TRUE(run.Send());
  Build(run, {"poison"});
  const BuiltRecord& record = *run.delivery.Store().InMemory().First();
  const int64_t now = CurrentTime();
  constexpr int64_t kDay = 86400;
  EXPECT_FALSE(IsOutdated(record, now));
  EXPECT_FALSE(IsOutdated(record, now + 29 * kDay));
  EXPECT_TRUE(IsOutdated(record, now + 33 * kDay));
  EXPECT_FALSE(IsOutdated(BuiltRecord(), now)) << "no time at all";
  EXPECT_FALSE(IsOutdated(record, 4'110'000'000)) << "in 2100: the clock is wrong now";
  EXPECT_FALSE(IsOutdated(*RecordOf(R"({"rt":[{"t":"1970-01-01T00:00:05.000Z"}]})"), now))
      << "it was wrong then";

  run.delivery.Store().RemovePulled();
  run.delivery.Store().Append(RecordOf(
      R"({"pe":{"t":"2026-01-01T00:00:00Z"},"rt":[{"t":"2021-03-04T10:11:12.345+01:00","m":"poison"}]})"));
  Gateway::poisonStatus = 400;
  EXPECT_FALSE(run.delivery.SendToServer());
  EXPECT_NE(log_.Find("warning: SM: Server refused a record of "), "");
  EXPECT_EQ(CachedBytes(), 0u);
  EXPECT_TRUE(run.delivery.SendToServer()) << "nothing is left";
}

TEST_F(RefusedRecordsTest, ARefusedRecordInMemoryDoesNotHoldBackEventsInNoRecordYet) {
  SessionParts run(config_, Wmi("1"));
  EXPECT_TRUE(run.Send());
  run.delivery.Store().OpenCache(std::make_unique<CacheManager>("/nowhere", "none"), false);
  Gateway::poisonStatus = 400;
  Build(run, {"poison"});
  EXPECT_FALSE(run.delivery.SendToServer());
  run.Log("later");
  EXPECT_FALSE(run.delivery.SendToServer());
  EXPECT_EQ(Gateway::Events(), Names{"later"});
  EXPECT_EQ(Gateway::refusals, 1);
}

}  // namespace
}  // namespace Tav
