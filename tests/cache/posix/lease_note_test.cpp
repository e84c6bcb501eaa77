// How much a process reads shows in /proc. An open file that cannot be read any more takes the
// place of another one there.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "cache/cache_fixture.h"
#include "cache/cache_lease.h"

namespace Tav::Testing {
namespace {

class LeaseNoteTest : public CacheFixture {
 protected:
  static int64_t BytesRead() {
    std::ifstream file("/proc/self/io");
    std::string label;
    int64_t bytes = -1;
    file >> label >> bytes;
    EXPECT_EQ(label, "rchar:");
    return bytes;
  }

  // From now on a read of the open file fails, until it is opened again.
  static void BreakReads(const std::filesystem::path& path) {
    const int broken = open("/dev/null", O_WRONLY | O_CLOEXEC);
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code closed;
      if (std::filesystem::read_symlink(entry, closed) == path) {
        EXPECT_NE(dup3(broken, std::stoi(entry.path().filename().string()), O_CLOEXEC), -1);
      }
    }
    close(broken);
  }
};

TEST_F(LeaseNoteTest, ReadsTheFileOnce) {
  constexpr int kRecords = 100;
  std::string contents;
  for (int i = 0; i < kRecords; ++i) {
    contents += Chunk(std::string(10000, static_cast<char>('a' + i % 26)));
  }
  Put(1, contents);
  CacheManager cache = Manager();
  RecordList records;
  ASSERT_TRUE(cache.Lease(records));
  const int64_t before = BytesRead();
  LeaseNote note;
  for (int i = 0; i < kRecords - 1; ++i) {
    cache.Consume(records.TakeFirst()->fileEnd);
    ASSERT_TRUE(cache.MakeNote(note));
  }
  EXPECT_LT(BytesRead() - before, 2 * std::ssize(contents));
  cache.AbandonLease();
  CacheManager next = Manager();
  next.ScanFiles(false);
  next.DropAccepted(note);
  EXPECT_EQ(Contents(1), contents.substr(static_cast<size_t>(note.bytes)));
}

// What was accepted would be sent twice if it stayed.
TEST_F(LeaseNoteTest, AReadErrorThatPassesDropsNoneTheLess) {
  const CapturedLog log;
  const std::string contents = Chunk("one") + Chunk("second");
  Put(1, contents);
  CacheDirectory directory(Folder() + "/", kPrefix);
  directory.ScanFiles(now);
  CacheManager cache = Manager();
  RecordList records;
  ASSERT_TRUE(cache.Lease(records));
  cache.Consume(records.TakeFirst()->fileEnd);
  LeaseNote note;
  ASSERT_TRUE(cache.MakeNote(note));
  cache.AbandonLease();
  uint32_t errors = 0;
  for (const bool passes : {false, true}) {
    TavFile file;
    ASSERT_TRUE(file.OpenAtomic(PathText(1).c_str()));
    BreakReads(PathOf(1));
    const int holder = open(PathText(1).c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(passes ? 0 : flock(holder, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(DropConsumed(directory, file, note, errors), passes);
    close(holder);
    EXPECT_EQ(errors, 1u);
    EXPECT_EQ(Contents(1), passes ? Chunk("second") : contents);
    EXPECT_EQ(log.Find("warning: CM:"), "warning: CM: Cannot read cache file '" + PathText(1) +
                                            "'. What was accepted of it will be sent again");
  }
}

}  // namespace
}  // namespace Tav::Testing
