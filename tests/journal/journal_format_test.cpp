#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "journal/entry.h"
#include "journal/journal_head.h"
#include "journal/run_block.h"
#include "model/event_properties.h"
#include "support/records.h"

namespace Tav {
namespace {

constexpr std::string_view kUuid = "01234567-89ab-cdef-0123-456789abcdef";

std::vector<std::byte> Encode(const EntryFields& fields, uint32_t number) {
  std::vector<std::byte> entry(EncodeEntry(fields, {}));
  EncodeEntry(fields, entry);
  uint32_t checksum = EntryChecksum(entry) ^ number;
  std::memcpy(entry.data() + 4, &checksum, sizeof checksum);
  std::memcpy(entry.data() + 8, &number, sizeof number);
  return entry;
}

JsonPtr Parsed(const char* text) {
  return JsonPtr(json_loads(text, 0, nullptr));
}

using Members = std::vector<std::byte>;

std::string PropertiesOf(const EntryView& entry) {
  ByteReader reader(entry.Members());
  return Testing::Text(ReadMembers(reader).Get());
}

EntryFields Sample(const Members& properties) {
  EntryFields fields;
  fields.time = {1700000000123, -60};
  fields.estimatedSize = 345;
  fields.kind = HandleKind::Error;
  fields.session = kUuid;
  fields.name = "Saved \xC3\xA4";
  fields.componentName = "Viewer";
  fields.componentVersion = "1.0";
  fields.properties = properties;
  return fields;
}

TEST(JournalEntryTest, AnEventComesBackAsItWas) {
  const JsonPtr properties =
      Parsed(R"({"b":"text","a":-1.5,"":"","std-Trace":[{"std-Loc":"x"},{}],"empty":{}})");
  const Members members = Testing::MembersOf(properties);
  for (const std::string_view session : {kUuid, std::string_view("own"), std::string_view()}) {
    EntryFields fields = Sample(members);
    fields.session = session;
    const std::vector<std::byte> entry = Encode(fields, 7);
    const std::optional<EntryView> view = EntryView::Read(entry, 7);
    ASSERT_TRUE(view);
    EXPECT_EQ(view->Size(), entry.size());
    const EntryFields found = view->Fields();
    EXPECT_EQ(found.time.unixMilliseconds, fields.time.unixMilliseconds);
    EXPECT_EQ(found.time.utcBiasMinutes, fields.time.utcBiasMinutes);
    EXPECT_EQ(found.estimatedSize, fields.estimatedSize);
    EXPECT_EQ(found.kind, fields.kind);
    EXPECT_EQ(found.session, fields.session);
    EXPECT_EQ(found.name, fields.name);
    EXPECT_EQ(found.componentName, fields.componentName);
    EXPECT_EQ(found.componentVersion, fields.componentVersion);
    EXPECT_EQ(PropertiesOf(*view), Testing::Text(properties.Get()));
  }
  const std::vector<std::byte> bare = Encode(Sample({}), 7);
  EXPECT_TRUE(EntryView::Read(bare, 7)->Members().empty());
}

TEST(JournalEntryTest, ItemsBecomeAnArrayWhereTheFirstOneStands) {
  EventProperties properties(nullptr);
  const auto add = [&](std::string_view key, std::string_view value) {
    const EventProperties::Text texts[] = {{"x", value}, {"empty", ""}};
    EXPECT_TRUE(properties.AddItem(key, texts));
  };
  properties.AddString("taken", "");
  add("list", "1");
  properties.AddReal("n", 1);
  add("list", "");
  add("taken", "lost");
  Members members(properties.Bytes().begin(), properties.Bytes().end());
  const std::vector<std::byte> entry = Encode(Sample(members), 1);
  EXPECT_EQ(PropertiesOf(*EntryView::Read(entry, 1)),
            R"({"taken":"","list":[{"x":"1"},{}],"n":1.0})");
}

// A UUID in another spelling is not a session id of the library: its text must not change.
TEST(JournalEntryTest, OnlyTheLibrarysOwnSpellingOfASessionIsPacked) {
  for (const std::string_view session :
       {"01234567-89AB-cdef-0123-456789abcdef", "01234567_89ab-cdef-0123-456789abcdef",
        "0123456789abcdef0123456789abcdef"}) {
    EntryFields fields = Sample({});
    fields.session = session;
    const std::vector<std::byte> entry = Encode(fields, 1);
    EXPECT_EQ(EntryView::Read(entry, 1)->Fields().session, session);
  }
}

// The reader takes whatever a disk holds: nothing may be read outside the entry, and no damage in
// the checked part may pass.
TEST(JournalEntryTest, DamageIsFound) {
  const Members members = Testing::MembersOf(Parsed(R"({"a":"b","n":1.0,"o":{"x":[1.0,"y"]}})"));
  const std::vector<std::byte> entry = Encode(Sample(members), 3);
  EXPECT_FALSE(EntryView::Read(entry, 4));
  for (size_t size = 0; size < entry.size(); ++size) {
    EXPECT_FALSE(EntryView::Read(std::span(entry).first(size), 3)) << size;
  }
  for (size_t i = 0; i < entry.size(); ++i) {
    std::vector<std::byte> damaged = entry;
    damaged[i] ^= std::byte{0x40};
    const bool isVerdict = i >= 12 && i < 16;
    EXPECT_EQ(EntryView::Read(damaged, 3).has_value(), isVerdict) << i;
  }
}

// As above with a checksum that is right, as a writer with an error in it, or an attacker, makes
// it.
TEST(JournalEntryTest, NonsenseWithAGoodChecksumIsReadWithinItsBounds) {
  const Members members = Testing::MembersOf(Parsed(R"({"a":"b","n":1.0,"o":{"x":[1.0,"y"]}})"));
  const std::vector<std::byte> entry = Encode(Sample(members), 3);
  std::mt19937 random(1);
  for (int round = 0; round < 20000; ++round) {
    // On the heap at its exact size, so that AddressSanitizer sees a read past its end.
    std::vector<std::byte> damaged = entry;
    for (int i = 0; i < 3; ++i) {
      damaged[16 + random() % (damaged.size() - 16)] = static_cast<std::byte>(random());
    }
    const uint32_t checksum = EntryChecksum(damaged) ^ 3;
    std::memcpy(damaged.data() + 4, &checksum, sizeof checksum);
    if (const std::optional<EntryView> view = EntryView::Read(damaged, 3)) {
      PropertiesOf(*view);
    }
  }
}

TEST(JournalEntryTest, ValuesNestedTooDeeplyAreNotRead) {
  std::vector<std::byte> bytes(4 * (kMaxValueDepth + 4));
  ByteWriter writer(bytes);
  for (int i = 0; i < kMaxValueDepth + 1; ++i) {
    writer.Fixed(uint8_t{3});
    writer.Text("");
  }
  for (int i = 0; i < kMaxValueDepth + 2; ++i) {
    writer.Fixed(uint8_t{0});
  }
  ByteReader reader(bytes);
  SkipMembers(reader);
  EXPECT_TRUE(reader.Failed());
}

class JournalHeadTest : public testing::Test {
 protected:
  static std::vector<std::byte> Bytes(size_t count, int fill) {
    return std::vector<std::byte>(count, static_cast<std::byte>(fill));
  }
  static std::vector<std::byte> Copy(std::span<const std::byte> bytes) {
    return {bytes.begin(), bytes.end()};
  }

  alignas(8) std::array<std::byte, kHeadUnit> memory_{};
  JournalHead head_ = JournalHead::Create(memory_, 1234);
};

TEST_F(JournalHeadTest, AnInterruptedReplacementLeavesTheOlderText) {
  ASSERT_TRUE(JournalHead::Read(memory_));
  EXPECT_EQ(JournalHead::Read(memory_)->StartTime(), 1234);
  EXPECT_TRUE(head_.RunBlockBytes().empty());
  EXPECT_FALSE(head_.ReadCacheNote());
  ASSERT_TRUE(head_.WriteRunBlock(Bytes(100, 1)));
  ASSERT_TRUE(head_.WriteRunBlock(Bytes(200, 2)));
  const std::array<std::byte, kHeadUnit> before = memory_;
  ASSERT_TRUE(head_.WriteRunBlock(Bytes(150, 3)));
  EXPECT_EQ(Copy(head_.RunBlockBytes()), Bytes(150, 3));
  // Any part of the bytes of the third write may be on the disk.
  for (size_t i = 0; i < memory_.size(); ++i) {
    if (memory_[i] == before[i]) {
      continue;
    }
    std::array<std::byte, kHeadUnit> torn = memory_;
    torn[i] = before[i];
    const std::vector<std::byte> found = Copy(JournalHead::Read(torn)->RunBlockBytes());
    EXPECT_TRUE(found == Bytes(200, 2) || found == Bytes(150, 3)) << i;
  }
  EXPECT_FALSE(head_.WriteRunBlock(Bytes(kHeadUnit / 2, 4)));
  EXPECT_EQ(Copy(head_.RunBlockBytes()), Bytes(150, 3));
}

TEST_F(JournalHeadTest, TheCacheNoteDoesNotDisturbTheRunBlock) {
  ASSERT_TRUE(head_.WriteRunBlock(Bytes(100, 1)));
  for (uint32_t i = 1; i < 4; ++i) {
    head_.WriteCacheNote({i, i * 10, i * 100});
    const std::optional<CacheNote> note = head_.ReadCacheNote();
    ASSERT_TRUE(note);
    EXPECT_EQ(note->fileSequence, i);
    EXPECT_EQ(note->acceptedBytes, i * 10);
    EXPECT_EQ(note->checksum, i * 100);
  }
  EXPECT_EQ(Copy(head_.RunBlockBytes()), Bytes(100, 1));
}

TEST_F(JournalHeadTest, AnUnknownFormatIsRefused) {
  for (size_t i = 0; i < 40; ++i) {
    std::array<std::byte, kHeadUnit> damaged = memory_;
    damaged[i] ^= std::byte{1};
    EXPECT_FALSE(JournalHead::Read(damaged)) << i;
  }
  EXPECT_FALSE(JournalHead::Read(std::span(memory_).first(100)));
  EXPECT_EQ(JournalHead::SizeFor(100), kHeadUnit);
  EXPECT_EQ(JournalHead::SizeFor(kHeadUnit) % kHeadUnit, 0u);
  EXPECT_GT(JournalHead::SizeFor(kHeadUnit), 2 * kHeadUnit);
}

TEST(RunBlockTest, ARunComesBackAsItWas) {
  RunBlock block;
  block.product = {"Editor", "4.2", "wntx64"};
  block.libraryVersion = "2.8.2";
  block.endpointId = "02X1";
  block.customerId = "c";
  block.userId = "u";
  block.productContext = "px";
  block.productComponentName = "pc";
  block.tags["Edition"] = {"Pro", "Trial"};
  block.sessionEnvironment = Parsed(R"({"Display":"dark","Zoom":1.5})");
  block.breadcrumbLength = 10;
  const std::vector<std::byte> bytes = EncodeRunBlock(block);
  const std::optional<RunBlock> found = DecodeRunBlock(bytes);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->product.name, "Editor");
  EXPECT_EQ(found->product.version, "4.2");
  EXPECT_EQ(found->product.platform, "wntx64");
  EXPECT_EQ(found->libraryVersion, "2.8.2");
  EXPECT_EQ(found->endpointId, "02X1");
  EXPECT_EQ(found->customerId, "c");
  EXPECT_EQ(found->userId, "u");
  EXPECT_EQ(found->productContext, "px");
  EXPECT_EQ(found->productComponentName, "pc");
  EXPECT_EQ(found->tags, block.tags);
  EXPECT_EQ(Testing::Text(found->sessionEnvironment.Get()),
            Testing::Text(block.sessionEnvironment.Get()));
  EXPECT_EQ(found->breadcrumbLength, 10);
  EXPECT_FALSE(DecodeRunBlock(std::span(bytes).first(bytes.size() - 1)));
}

}  // namespace
}  // namespace Tav
