// The cache of records on disk. The first byte selects what the rest is: the contents of a cache
// file, or calls of a cache manager, between which the process dies and files are cut short.
#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "cache/cache_file_name.h"
#include "cache/cache_file_reader.h"
#include "cache/cache_manager.h"
#include "fuzz.h"
#include "streams/chunk_stream.h"
#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"
#include "support/records.h"
#include "support/temp_folder.h"

namespace {

using namespace Tav;
using Fuzz::Input;
using Fuzz::Require;
using Texts = std::deque<std::string>;

std::string TextOf(const BuiltRecord& record) {
  return {record.bytes.begin(), record.bytes.end()};
}

void Append(RecordList& records, std::string_view text) {
  auto record = std::make_unique<BuiltRecord>();
  record->bytes.assign(text.begin(), text.end());
  records.Append(std::move(record));
}

void ReadFile(std::string_view file) {
  MemoryInputStream input(file.data(), file.size());
  RecordList records;
  const CacheFileContents contents = ReadCacheFile(&input, records);
  const auto size = static_cast<int64_t>(file.size());
  Require(contents.readBytes >= 0 && contents.readBytes <= size, "records are parts of the file");
  const bool chunks = !file.empty() && file.front() == kChunkBegin;
  Require(contents.errors > 0 || contents.readBytes == size || !chunks,
          "what is not read is reported");
  MemoryOutputStream rewritten;
  ChunkOutputStream output(&rewritten);
  int64_t end = 0;
  for (const BuiltRecord* record = records.First(); record; record = record->next.get()) {
    if (chunks) {
      Require(record->fileEnd > end, "records end one after the other");
      end = record->fileEnd;
      output.Write(record->bytes.data(), record->bytes.size());
    } else {
      Require(Fuzz::IsJson(ExpandGZip(record->bytes)), "a line becomes a record of JSON");
    }
  }
  if (chunks) {
    Require(end == contents.readBytes, "the last record ends where reading ended");
    const std::vector<uint8_t> same = rewritten.Join();
    const size_t whole = std::min(same.size(), file.size());
    Require(same.size() <= file.size() + 1 &&
                std::equal(same.begin(), same.begin() + static_cast<ptrdiff_t>(whole), file.begin(),
                           [](uint8_t a, char b) { return a == static_cast<uint8_t>(b); }),
            "the records are a prefix of the file");
    MemoryInputStream again(file.data(), file.size());
    const int64_t wholeBytes = WholeChunkBytes(&again);
    Require(wholeBytes == end || wholeBytes < end, "no more whole chunks than records");
  }
}

// A cache in a folder of its own, and what must be in it.
class Cache {
 public:
  explicit Cache(Input& input) : input_(input) { Restart(); }

  void Call() {
    switch (input_.Below(8)) {
      case 0:
      case 1:
        Store();
        break;
      case 2:
        Lease();
        break;
      case 3:
        ReturnLease();
        break;
      case 4:
        Load();
        break;
      case 5:
        Die();
        break;
      case 6:
        CutFile();
        break;
      case 7:
        manager_->SetLimits(1000, 64u << input_.Below(8));
        break;
    }
  }

  // Everything that was stored and not consumed is still there.
  void Finish() {
    manager_->AbandonLease();
    leased_.Clear();
    Restart();
    RecordList records;
    manager_->Load(records);
    Expect(records, true);
  }

 private:
  static int64_t Now() { return 1'700'000'000; }

  void Restart() {
    manager_.reset();
    manager_ = std::make_unique<CacheManager>(Testing::Utf8(folder_.Root()),
                                              CachePrefix("p", "v", Deployment()), Now);
    manager_->SetLimits(1000, 1024);
    manager_->ScanFiles(false);
  }

  void Store() {
    RecordList records;
    for (uint32_t count = input_.Below(5); count > 0; --count) {
      const std::string text(input_.Text());
      Append(records, text);
      expected_.push_back(text);
    }
    Require(manager_->Append(records) && records.Empty(), "an empty disk takes every record");
  }

  void Lease() {
    if (manager_->HasLease()) {
      return;
    }
    if (manager_->Lease(leased_)) {
      Require(!leased_.Empty(), "a lease has a record");
      Expect(leased_, false);
    } else {
      Require(cut_ || expected_.empty(), "a cache with records leases one");
    }
  }

  // Consumes some of the leased records and returns the others.
  void ReturnLease() {
    if (!manager_->HasLease()) {
      return;
    }
    for (uint32_t count = input_.Below(4); count > 0 && !leased_.Empty(); --count) {
      const std::unique_ptr<BuiltRecord> record = leased_.TakeFirst();
      manager_->Consume(record->fileEnd);
      note_.emplace();
      Require(manager_->MakeNote(*note_), "what a note covers can be read");
      Drop(TextOf(*record));
    }
    if (input_.Flag()) {
      Die();
    } else if (leased_.Empty()) {
      Require(manager_->EndLease(), "a consumed file can be deleted");
    } else {
      Require(manager_->ReturnLease(leased_), "a file can be rewritten");
    }
    leased_.Clear();
    note_.reset();
  }

  void Load() {
    if (!manager_->HasLease()) {
      RecordList records;
      manager_->Load(records);
      Expect(records, true);
      expected_.clear();
    }
  }

  // The process dies; the next one finds the journal's note.
  void Die() {
    manager_->AbandonLease();
    leased_.Clear();
    Restart();
    if (note_) {
      manager_->DropAccepted(*note_);
    }
    note_.reset();
  }

  // A disk that filled up, or a system that crashed, cuts the newest file.
  void CutFile() {
    if (manager_->HasLease() || manager_->FileCount() == 0) {
      return;
    }
    const int sequence = manager_->GetFileSequence(manager_->FileCount() - 1);
    const std::filesystem::path path = folder_.Root() / CacheFileName(manager_->Prefix(), sequence);
    const auto size = std::filesystem::file_size(path);
    const uint32_t cut = input_.Below(40);
    std::filesystem::resize_file(path, size - std::min<uintmax_t>(size, cut));
    cut_ = cut_ || cut > 0;
    Restart();
  }

  void Drop(const std::string& consumed) {
    while (cut_ && !expected_.empty() && expected_.front() != consumed) {
      expected_.pop_front();
    }
    Require(!expected_.empty() && expected_.front() == consumed, "the oldest record comes first");
    expected_.pop_front();
  }

  // `records` are the expected texts in their order, all of them or the first ones. Files that were
  // cut may lack some.
  void Expect(const RecordList& records, bool all) const {
    auto at = expected_.begin();
    for (const BuiltRecord* record = records.First(); record; record = record->next.get()) {
      const std::string text = TextOf(*record);
      while (cut_ && at != expected_.end() && *at != text) {
        ++at;
      }
      Require(at != expected_.end() && *at == text, "records come in the order of storing");
      ++at;
    }
    Require(cut_ || !all || at == expected_.end(), "no stored record is missing");
  }

  Input& input_;
  const Testing::TempFolder folder_;
  std::unique_ptr<CacheManager> manager_;
  RecordList leased_;
  std::optional<LeaseNote> note_;
  Texts expected_;
  bool cut_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  if (input.Byte() % 2 == 0) {
    ReadFile(input.Rest());
    return 0;
  }
  Cache cache(input);
  for (int i = 0; i < 40 && !input.Empty(); ++i) {
    cache.Call();
  }
  cache.Finish();
  return 0;
}
