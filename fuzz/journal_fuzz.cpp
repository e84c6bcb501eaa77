// The journal of a dead run. The input describes a file: a run block, segments, and in each of them
// entries that were completed, entries with other bytes under a correct checksum, plain bytes, and
// an end that was cut off. Recovery must find what was completed before the first damage, and
// nothing twice; tavcat, which has a reader of its own, must find the same.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <vector>

#include "fuzz.h"
#include "journal/dead_journal.h"
#include "segment_image.h"
#include "support/temp_folder.h"
#include "tavcat/journal_reader.h"
#include "util/json_members.h"
#include "util/json_text.h"
#include "util/text.h"
#include "util/value_codec.h"

namespace {

using namespace Tav;
using Fuzz::Bytes;
using Fuzz::Input;
using Fuzz::Require;
using Fuzz::SegmentImage;
using Fuzz::WrittenSegment;

constexpr size_t kMaxSegments = 3;

class DeadRun {
 public:
  explicit DeadRun(Input& input) {
    const std::span<const std::byte> runBlock = Fuzz::BytesOf(input.Text());
    Bytes head(JournalHead::SizeFor(runBlock.size()));
    JournalHead::Create(head, input.Take<int64_t>()).WriteRunBlock(runBlock);
    SegmentImage::Begin();
    const size_t count = 1 + input.Below(kMaxSegments);
    std::ofstream file(path_, std::ios::binary);
    Put(file, 0, head);
    size_t end = head.size();
    for (size_t i = 0; i < count; ++i) {
      const SegmentImage segment(input);
      Put(file, head.size() + i * kSegmentSize, segment.Image());
      end = head.size() + i * kSegmentSize + segment.Image().size();
      segments_.push_back(segment.Written());
    }
    file.close();
    // Beyond the last entry there are zeros, as in a segment that is not full; or the file ends
    // within its last entries.
    const uint32_t cut = input.Below(4) == 0 ? input.Below(300) : 0;
    if (cut == 0) {
      end = input.Below(8) == 0 ? head.size() + count * kSegmentSize : end + 512;
    } else {
      end -= std::min<size_t>(cut, end);
      cut_ = true;
    }
    std::filesystem::resize_file(path_, end);
    settleAfter_ = input.Below(8);
  }

  void Recover() {
    const Tavcat::Journal seen = Tavcat::ReadJournal(Contents());
    std::unique_ptr<DeadJournal> journal = Take();
    Require((journal == nullptr) == !seen.fault.empty(), "both readers know the file or none");
    if (journal == nullptr) {
      return;
    }
    if (Ordered()) {
      Compare(seen, *journal);
      journal.reset();
      journal = Take();
    }
    const std::vector<std::string> first = Unsettled(*journal, settleAfter_);
    journal.reset();
    // A recovery that died is continued by the next one.
    journal = Take();
    Require(journal != nullptr, "a journal that was read once can be read again");
    const std::vector<std::string> rest = Unsettled(*journal, SIZE_MAX);
    if (Ordered()) {
      Require(first.size() - std::min<size_t>(settleAfter_, first.size()) == rest.size() &&
                  std::equal(rest.rbegin(), rest.rend(), first.rbegin()),
              "what one recovery has settled, the next one does not find");
    }
    Require(journal->Remove() && !std::filesystem::exists(path_), "the journal can be removed");
  }

 private:
  static void Put(std::ofstream& file, size_t offset, const Bytes& bytes) {
    file.seekp(static_cast<std::streamoff>(offset));
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }

  std::string Contents() const {
    std::string contents(std::filesystem::file_size(path_), '\0');
    std::ifstream(path_, std::ios::binary)
        .read(contents.data(), static_cast<std::streamsize>(contents.size()));
    return contents;
  }

  std::unique_ptr<DeadJournal> Take() const {
    std::unique_ptr<JournalFile> file;
    const JournalFile::Lease lease = JournalFile::Take(path_, file);
    Require(lease == JournalFile::Lease::Taken || cut_, "a whole head is recognised");
    return lease == JournalFile::Lease::Taken ? std::make_unique<DeadJournal>(std::move(file))
                                              : nullptr;
  }

  // Whether each segment has a number of its own and an offset of settled entries in it.
  bool Ordered() const {
    std::vector<uint32_t> numbers;
    for (const WrittenSegment& segment : segments_) {
      if (segment.number == 0 || segment.settled > kSegmentSize ||
          std::ranges::find(numbers, segment.number) != numbers.end()) {
        return false;
      }
      numbers.push_back(segment.number);
    }
    return true;
  }

  static void Compare(const Tavcat::Journal& seen, DeadJournal& journal) {
    size_t damaged = 0;
    for (const Tavcat::JournalSegment& segment : seen.segments) {
      damaged += segment.damage.empty() ? 0 : 1;
      for (const Tavcat::JournalEvent& event : segment.events) {
        const std::optional<DeadJournal::Item> item = journal.Next();
        Require(item.has_value(), "tavcat finds no more entries than the library");
        const EntryFields fields = item->view.Fields();
        Require(fields.name == event.name && fields.session == event.session &&
                    fields.time.unixMilliseconds == event.time &&
                    fields.componentName == event.componentName &&
                    (item->view.GetVerdict() == Verdict::Dropped) == event.dropped &&
                    item->settled == event.settled,
                "tavcat reads the same entries as the library");
      }
    }
    Require(!journal.Next(), "tavcat finds no fewer entries than the library");
    Require(static_cast<size_t>(journal.DamagedSegments()) == damaged,
            "tavcat finds the same damage as the library");
    Require(static_cast<bool>(seen.run) == journal.Run().has_value(), "both read the run");
  }

  // The names of the entries that are not settled, after settling the first `settled` of them.
  std::vector<std::string> Unsettled(DeadJournal& journal, size_t settled) {
    std::vector<std::string> names;
    std::vector<size_t> found(journal.SegmentCount());
    for (size_t i = 0; i < journal.SegmentCount(); ++i) {
      journal.NewestTime(i);
    }
    while (const std::optional<DeadJournal::Item> item = journal.Next()) {
      Require(item->begin < item->end && item->segment < journal.SegmentCount(), "places are sane");
      CheckEntry(item->view);
      ++found[item->segment];
      if (item->settled) {
        continue;
      }
      names.emplace_back(item->view.Fields().name);
      if (names.size() <= settled) {
        journal.Settle(*item);
      }
    }
    CheckFound(found);
    return names;
  }

  static void CheckEntry(const EntryView& view) {
    const EntryFields fields = view.Fields();
    Require(IsUtf8(fields.name) && IsUtf8(fields.session), "texts are UTF-8");
    JsonText text(64);
    if (!view.Members().empty()) {
      Require(AddMembers(text, view.Members()), "the properties of an entry are readable");
      // jansson reads no zero byte in a key. The texts of hosts have none.
      Require(Fuzz::IsJson(text.View()) || text.View().find("\\u0000") != std::string_view::npos,
              "properties become JSON");
    }
  }

  // As many entries as were completed, at least.
  void CheckFound(const std::vector<size_t>& found) const {
    if (cut_ || !Ordered()) {
      return;
    }
    std::vector<WrittenSegment> sorted = segments_;
    std::ranges::sort(sorted, {}, &WrittenSegment::number);
    // A second recovery does not see the segments that the first one has released.
    const size_t released = sorted.size() - found.size();
    for (size_t i = 0; i < found.size(); ++i) {
      Require(found[i] >= sorted[i + released].entries.size(), "completed entries are found");
    }
  }

  const Testing::TempFolder folder_;
  const std::string path_ = folder_.Path("journal");
  std::vector<WrittenSegment> segments_;
  size_t settleAfter_ = 0;
  bool cut_ = false;
};

void CheckRunBlock(std::string_view bytes) {
  const std::optional<RunBlock> run = DecodeRunBlock(Fuzz::BytesOf(bytes));
  if (run) {
    const Bytes encoded = EncodeRunBlock(*run);
    const std::optional<RunBlock> again = DecodeRunBlock(encoded);
    Require(again && EncodeRunBlock(*again) == encoded,
            "a run block that was read is written back");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  if (input.Byte() % 4 == 0) {
    CheckRunBlock(input.Rest());
    return 0;
  }
  DeadRun(input).Recover();
  return 0;
}
