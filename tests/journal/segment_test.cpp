#include "journal/segment.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace Tav {
namespace {

class SegmentTest : public testing::Test {
 protected:
  static std::vector<std::byte> Entry(const std::string& name) {
    EntryFields fields;
    fields.name = name;
    std::vector<std::byte> entry(EncodeEntry(fields, {}));
    EncodeEntry(fields, entry);
    return entry;
  }

  // The names of the entries from `offset` on.
  static std::vector<std::string> Names(const Segment& segment,
                                        uint32_t offset = kSegmentHeadSize) {
    std::vector<std::string> names;
    while (const std::optional<EntryView> view = segment.At(offset)) {
      names.emplace_back(view->Fields().name);
      offset += static_cast<uint32_t>(view->Size());
    }
    return names;
  }

  std::vector<uint64_t> memory_ = std::vector<uint64_t>(kSegmentSize / sizeof(uint64_t));
  Segment segment_{reinterpret_cast<std::byte*>(memory_.data())};
};

TEST_F(SegmentTest, EntriesAreReadInOrderUntilTheSegmentIsFull) {
  segment_.Begin(1);
  const std::string text(200, 'x');
  uint32_t offset = kSegmentHeadSize;
  size_t count = 0;
  while (const std::optional<uint32_t> end = segment_.Append(offset, Entry(text))) {
    offset = *end;
    ++count;
  }
  EXPECT_GT(offset + Entry(text).size(), kSegmentSize);
  EXPECT_EQ(Names(segment_).size(), count);
  EXPECT_FALSE(segment_.DamagedAt(offset));
  segment_.Settle(offset);
  EXPECT_EQ(segment_.Settled(), offset);
  EXPECT_EQ(segment_.Number(), 1u);
}

// One store must retire all entries of the earlier use, those behind the new ones included.
TEST_F(SegmentTest, AnotherUseHidesWhatTheEarlierOneLeft) {
  segment_.Begin(1);
  uint32_t offset = kSegmentHeadSize;
  for (const char* const name : {"a", "b", "c"}) {
    offset = *segment_.Append(offset, Entry(name));
  }
  segment_.Begin(2);
  EXPECT_TRUE(Names(segment_).empty());
  segment_.Append(kSegmentHeadSize, Entry("new"));
  EXPECT_EQ(Names(segment_), std::vector<std::string>{"new"});
}

TEST_F(SegmentTest, AVerdictDoesNotDamageTheEntry) {
  segment_.Begin(1);
  segment_.Append(kSegmentHeadSize, Entry("a"));
  EXPECT_EQ(segment_.At(kSegmentHeadSize)->GetVerdict(), Verdict::Open);
  segment_.SetVerdict(kSegmentHeadSize, Verdict::Dropped);
  ASSERT_TRUE(segment_.At(kSegmentHeadSize));
  EXPECT_EQ(segment_.At(kSegmentHeadSize)->GetVerdict(), Verdict::Dropped);
}

// A process dies between two stores. They are made in order, so its file holds a prefix of them:
// here every prefix of the bytes of the entry, over the remains of an earlier use, before its first
// eight.
TEST_F(SegmentTest, AnUnfinishedAppendLeavesNoEntry) {
  for (const char* const remains : {"", "an earlier entry of the same size", "x"}) {
    segment_.Begin(1);
    if (*remains != '\0') {
      segment_.Append(kSegmentHeadSize, Entry(remains));
    }
    segment_.Begin(2);
    const std::vector<uint64_t> before = memory_;
    const std::vector<std::byte> entry = Entry("a longer entry of the same size 1");
    segment_.Append(kSegmentHeadSize, entry);
    const std::vector<uint64_t> after = memory_;
    constexpr size_t kFirst = kSegmentHeadSize / sizeof(uint64_t);
    for (size_t words = 0; words < entry.size() / sizeof(uint64_t); ++words) {
      memory_ = before;
      for (size_t i = 1; i <= words; ++i) {
        memory_[kFirst + i] = after[kFirst + i];
      }
      const bool complete = words + 1 == entry.size() / sizeof(uint64_t);
      EXPECT_TRUE(Names(segment_).empty()) << remains << words;
      if (complete) {
        memory_[kFirst] = after[kFirst];
        EXPECT_EQ(Names(segment_).size(), 1u);
      }
    }
  }
}

TEST_F(SegmentTest, DamageEndsTheSegmentAndIsSeen) {
  segment_.Begin(1);
  const uint32_t second = *segment_.Append(kSegmentHeadSize, Entry("a"));
  const uint32_t end = *segment_.Append(second, Entry("b"));
  EXPECT_FALSE(segment_.DamagedAt(end));
  segment_.Memory()[second + 20] ^= std::byte{1};
  EXPECT_EQ(Names(segment_), std::vector<std::string>{"a"});
  EXPECT_TRUE(segment_.DamagedAt(second));
}

}  // namespace
}  // namespace Tav
