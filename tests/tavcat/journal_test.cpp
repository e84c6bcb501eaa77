// Journals made by the library's own classes, whole and damaged.
#include "tavcat/journal_reader.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "journal/event_log.h"
#include "journal/journal_file.h"
#include "journal/run_block.h"
#include "support/records.h"
#include "tavcat/tavcat_fixture.h"

namespace Tav {
namespace {

constexpr char kName[] = "TavJournal_9A80ECF5_0123456789abcdef";
constexpr char kUuid[] = "01234567-89ab-cdef-0123-456789abcdef";
constexpr size_t kHead = 65536;
constexpr size_t kEntries = kHead + kSegmentHeadSize;  // where those of the first segment begin

class TavcatJournalTest : public Testing::TavcatTest {
 protected:
  void SetUp() override {
    RunBlock run;
    run.product = {"Writer", "4.2", "wntx64"};
    run.customerId = "M\xC3\xBCller";
    run.tags["Edition"] = {"Professional"};
    file_ = JournalFile::Create(Path(), EncodeRunBlock(run), 1767225600000);
    ASSERT_NE(file_, nullptr);
    AddRoom();
    Append(HandleKind::Marker, "$b", nullptr);
    Append(HandleKind::Event, "open", R"({"file":"a.qwd","size":12.5,"more":[{"a":[]},"b"]})");
    Append(HandleKind::Command, "std-Cmd", "{}", "Spelling", "own session");
    Append(HandleKind::Error, "std-Error", R"({"std-ErrCode":"E1"})");
  }

  std::string Path() const { return Testing::StorageFolder::Utf8(folder.Path(kName)); }

  void AddRoom() {
    std::byte* const memory = file_->AddSegment();
    ASSERT_NE(memory, nullptr);
    ASSERT_TRUE(log_->AddRoom(memory));
  }

  void Append(HandleKind kind,
              const char* name,
              const char* properties,
              const char* component = "",
              const char* session = kUuid) {
    const JsonPtr object(properties == nullptr ? nullptr : json_loads(properties, 0, nullptr));
    EntryFields fields;
    fields.time = {1767258000001, -60};
    fields.kind = kind;
    fields.session = session;
    fields.name = name;
    fields.componentName = component;
    fields.componentVersion = *component == '\0' ? "" : "1.3";
    const std::vector<std::byte> members =
        object ? Testing::MembersOf(object) : std::vector<std::byte>();
    fields.properties = members;
    std::vector<std::byte> entry(EncodeEntry(fields, {}));
    EncodeEntry(fields, entry);
    ASSERT_TRUE(log_->Append(entry));
    ends_.push_back((ends_.empty() ? kEntries : ends_.back()) + entry.size());
  }

  // The bytes of the file after the end of its process.
  std::string Die() {
    log_.reset();
    file_.reset();
    return folder.Contents(kName);
  }

  // How many entries end within the first `size` bytes of the file.
  size_t Whole(size_t size) const {
    return static_cast<size_t>(
        std::ranges::count_if(ends_, [size](size_t end) { return end <= size; }));
  }
  size_t BeginOf(size_t entry) const { return entry == 0 ? kEntries : ends_[entry - 1]; }

  std::unique_ptr<JournalFile> file_;
  std::unique_ptr<EventLog> log_ = std::make_unique<EventLog>();
  std::vector<size_t> ends_;  // of the entries, in the file
};

TEST_F(TavcatJournalTest, ShowsTheRunAndEveryEvent) {
  const EventReader::Item first = *log_->Reader().Next(log_->Begin(), log_->End());
  const EventReader::Item second = *log_->Reader().Next(first.end, log_->End());
  log_->Reader().SetVerdict(second.begin, Verdict::Dropped);
  log_->Settle(first.end);
  file_->Head().WriteCacheNote({3, 1234, 5});
  AddRoom();
  const std::string size = std::to_string(Die().size());
  EXPECT_EQ(Run({"--events"}), 0) << output;
  ExpectShown(std::string("\n\n") + kName + ": " + size + " bytes, written ");
  ExpectShown("    run of 2026-01-01 00:00:00 UTC, format 1\n        {\"productName\":\"Writer\",");
  ExpectShown("\"customer\":\"M\xC3\xBCller\"");
  ExpectShown("\"tags\":{\"Edition\":[\"Professional\"]}");
  ExpectShown("        accepted of cache file 3: 1234 bytes\n");
  const std::string end = std::to_string(ends_.back() - kHead);
  const std::string settled = std::to_string(ends_.front() - kHead);
  const std::string at = "        2026-01-01T10:00:00.001+01:00  ";
  ExpectShown(
      "    segment 1 at offset 65536: 4 events up to " + end + ", settled up to " + settled +
      ", 2 to be delivered\n" + at + "01234567  marker  $b  settled\n" + at +
      "01234567  event  open  {\"file\":\"a.qwd\",\"size\":12.5,\"more\":[{\"a\":[]},\"b\"]}" +
      "  dropped\n" + at + "own sess  command  std-Cmd  Spelling/1.3\n" + at +
      "01234567  error  std-Error  {\"std-ErrCode\":\"E1\"}\n    1 free segment\n");
  ExpectShown("\n0 records in the cache, 2 events in journals; no damage found\n");

  EXPECT_EQ(Run(), 0);
  ExpectShown(", 2 to be delivered\n    1 free segment\n");
  EXPECT_EQ(Run({"--records"}), 0);
  EXPECT_EQ(output, "");
}

// Nobody who reads keeps the owner from its file.
TEST_F(TavcatJournalTest, ShowsTheJournalOfALivingProcess) {
  EXPECT_EQ(Run({"--events"}), 0);
  ExpectShown("own sess  command");
  Append(HandleKind::Event, "later", nullptr);
  EXPECT_EQ(Run({"--events"}), 0);
  ExpectShown("01234567  event  later\n");
}

TEST_F(TavcatJournalTest, OtherNamesAreNotOpened) {
  folder.Put("TavDJournal_9A80ECF5_0123456789abcdef", Die());
  const char* const others[] = {
      "TavJournal_9A80ECF5_0123456789abcde", "TavJournal_9A80ECF5_FEDCBA9876543210",
      "TavJournal_9a80ecf5_0000000000000000", "TavXJournal_9A80ECF5_0123456789abcdef"};
  for (const char* name : others) {
    folder.Put(name, "x");
  }
  EXPECT_EQ(Run(), 0);
  for (const char* name : others) {
    ExpectShown(std::string("    ") + name + '\n');
  }
  ExpectShown("\n\nTavDJournal_9A80ECF5_0123456789abcdef: ");
  ExpectShown("0 records in the cache, 8 events in journals;");
}

TEST_F(TavcatJournalTest, ACutFileShowsTheEntriesThatAreWhole) {
  const std::string whole = Die();
  for (const size_t size :
       {size_t{0}, size_t{1}, size_t{39}, size_t{40}, size_t{4096}, kHead - 1}) {
    folder.Put(kName, whole.substr(0, size));
    EXPECT_EQ(Run(), 1) << size;
    EXPECT_EQ(Damages(), std::vector<std::string>{"the file ends within the head; the library "
                                                  "leaves the file alone"});
  }
  for (size_t size = kHead; size < ends_.back() + 100; ++size) {
    const Tavcat::Journal journal = Tavcat::ReadJournal(std::string_view(whole).substr(0, size));
    EXPECT_EQ(journal.fault, "") << size;
    EXPECT_EQ(journal.segments.size(), size < kEntries ? 0u : 1u) << size;
    if (journal.segments.empty()) {
      continue;
    }
    const Tavcat::JournalSegment& segment = journal.segments[0];
    EXPECT_EQ(segment.events.size(), Whole(size)) << size;
    const size_t part = size < ends_.back() ? size - BeginOf(Whole(size)) : 0;
    EXPECT_EQ(!segment.damage.empty(), part >= kEntryHeaderSize) << size;
  }
  folder.Put(kName, whole.substr(0, ends_[2] + 40));
  EXPECT_EQ(Run({"--events"}), 1);
  ExpectShown("3 events up to ");
  ExpectShown("; the file ends after ");
  ASSERT_EQ(Damages().size(), 1u);
  EXPECT_NE(Damages()[0].find("only 40 of "), std::string::npos) << Damages()[0];
}

TEST_F(TavcatJournalTest, AFlippedByteLosesNothingBeforeIt) {
  const std::string whole = Die().substr(0, ends_.back() + kSegmentHeadSize);
  for (size_t at = kEntries; at < ends_.back(); ++at) {
    for (const unsigned bit : {1U, 4U, 0x80U}) {
      std::string bytes = whole;
      bytes[at] = static_cast<char>(static_cast<unsigned char>(bytes[at]) ^ bit);
      const Tavcat::Journal journal = Tavcat::ReadJournal(bytes);
      ASSERT_EQ(journal.segments.size(), 1u);
      const size_t entry = Whole(at);
      const size_t offset = at - BeginOf(entry);
      const bool isVerdict = offset >= 12 && offset < 16;
      const bool isNumber = offset >= 8 && offset < 12;
      EXPECT_EQ(journal.segments[0].events.size(), isVerdict ? ends_.size() : entry) << at;
      EXPECT_EQ(journal.segments[0].damage.empty(), isVerdict || isNumber) << at;
    }
  }
}

TEST_F(TavcatJournalTest, AFlippedByteOfTheHeadIsFound) {
  file_->Head().WriteCacheNote({3, 1234, 5});
  const std::string whole = Die().substr(0, ends_.back() + kSegmentHeadSize);
  const Testing::StorageFolder& files = folder;
  const auto damagesWith = [&](size_t at) {
    std::string bytes = whole;
    bytes[at] = static_cast<char>(bytes[at] ^ 0x40);
    files.Put(kName, bytes);
    EXPECT_EQ(Run(), 1) << at;
    return Damages();
  };
  for (size_t at = 0; at < 40; ++at) {
    const std::vector<std::string> found = damagesWith(at);
    ASSERT_EQ(found.size(), 1u) << at;
    EXPECT_TRUE(found[0].ends_with("; the library leaves the file alone")) << at;
  }
  // Checksum, length and contents of a slot.
  for (const size_t at : {64U + 8, 64U + 16, 64U + 24}) {
    EXPECT_EQ(damagesWith(at)[0],
              "slot 1 of the cache note is damaged; the other slot counts if it is whole");
  }
  for (const size_t at : {4096U + 8, 4096U + 23, 4096U + 24 + 20}) {
    const std::vector<std::string> found = damagesWith(at);
    ASSERT_EQ(found.size(), 2u) << at;
    EXPECT_EQ(found[0], "slot 1 of the run block is damaged; the other slot counts if it is whole");
    EXPECT_TRUE(found[1].starts_with("the run block is missing or damaged"));
    ExpectShown("4 to be delivered");
  }
}

// With a checksum that is right, both readers must take an entry or both must refuse it.
TEST_F(TavcatJournalTest, AgreesWithTheLibraryOnMalformedContents) {
  const std::string whole = Die().substr(0, ends_.back() + kSegmentHeadSize);
  int refused = 0;
  for (size_t at = kEntries + kEntryHeaderSize - 2; at < ends_.back(); ++at) {
    const size_t entry = Whole(at);
    const size_t begin = BeginOf(entry);
    if (at - begin < kEntryHeaderSize - 2) {
      continue;
    }
    for (const unsigned value : {0U, 1U, 3U, 4U, 0x7FU, 0x80U, 0xC3U, 0xFFU}) {
      std::string bytes = whole;
      bytes[at] = static_cast<char>(value);
      const auto memory = std::as_writable_bytes(std::span(bytes)).subspan(begin);
      const uint32_t checksum = EntryChecksum(memory.first(ends_[entry] - begin)) ^ 1U;
      std::memcpy(memory.data() + 4, &checksum, sizeof checksum);
      const bool taken = EntryView::Read(memory, 1).has_value();
      refused += taken ? 0 : 1;
      const Tavcat::Journal journal = Tavcat::ReadJournal(bytes);
      ASSERT_EQ(journal.segments.size(), 1u);
      EXPECT_EQ(journal.segments[0].events.size() > entry, taken) << at << ' ' << value;
      EXPECT_EQ(journal.segments[0].damage, taken ? "" : "its contents are malformed") << at;
    }
  }
  EXPECT_GT(refused, 100);
}

TEST_F(TavcatJournalTest, AgreesWithTheLibraryOnTheDepthOfValues) {
  const std::string head = Die().substr(0, kEntries);
  for (size_t depth = 2; depth < 40; ++depth) {
    // A text that is read as members: an array with a key of four bytes, then arrays in arrays.
    const std::string nested = std::string(depth + 4, '\x04') + std::string(depth, '\0');
    EntryFields fields;
    fields.componentVersion = nested;
    std::vector<std::byte> entry(EncodeEntry(fields, {}));
    EncodeEntry(fields, entry);
    entry[31] = std::byte{2};                    // properties follow
    entry[kEntryHeaderSize + 3] = std::byte{0};  // the length of the text
    const uint32_t number = 1;
    const uint32_t checksum = EntryChecksum(entry) ^ number;
    std::memcpy(entry.data() + 4, &checksum, sizeof checksum);
    std::memcpy(entry.data() + 8, &number, sizeof number);
    EXPECT_EQ(EntryView::Read(entry, number).has_value(), depth <= 16) << depth;
    std::string bytes = head;
    bytes.append(reinterpret_cast<const char*>(entry.data()), entry.size());
    const Tavcat::Journal journal = Tavcat::ReadJournal(bytes);
    ASSERT_EQ(journal.segments.size(), 1u);
    EXPECT_EQ(journal.segments[0].events.size(), depth <= 16 ? 1u : 0u) << depth;
  }
}

}  // namespace
}  // namespace Tav
