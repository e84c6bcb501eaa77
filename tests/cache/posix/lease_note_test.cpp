// How much a process reads shows in /proc.
#include <fstream>
#include <string>

#include "cache/cache_fixture.h"

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

}  // namespace
}  // namespace Tav::Testing
