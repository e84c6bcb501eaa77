#include "platform/guarded_copy.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/lost_pages.h"
#include "platform/process.h"

namespace Tav::Platform {
namespace {

constexpr size_t kPages = 4 * 4096;

class GuardedCopyTest : public testing::Test {
 protected:
  ~GuardedCopyTest() override { FreePages(pages_, kPages); }

  std::byte* const pages_ = static_cast<std::byte*>(AllocatePages(kPages));
};

TEST_F(GuardedCopyTest, CopiesAnySizeAndNothingElse) {
  std::string source(200, ' ');
  for (size_t i = 0; i < source.size(); ++i) {
    source[i] = static_cast<char>(i + 1);
  }
  for (const size_t offset : {size_t{0}, size_t{3}}) {
    for (size_t size = 0; size < 70; ++size) {
      std::string target(100, 'x');
      ASSERT_TRUE(CopyGuarded(target.data() + 8 + offset, source.data() + offset, size));
      EXPECT_EQ(target, std::string(8 + offset, 'x') + source.substr(offset, size) +
                            std::string(92 - offset - size, 'x'));
    }
  }
}

TEST_F(GuardedCopyTest, FailsWhereAPageCannotBeAccessed) {
  TAV_NEEDS_GUARDED_COPIES();
  std::vector<std::byte> buffer(2 * 4096);
  uint64_t word = 0;
  for (int round = 0; round < 3; ++round) {
    const Testing::LostPages lost(pages_ + 4096, 4096);
    for (const size_t size : {size_t{1}, size_t{8}, size_t{16}, size_t{40}, size_t{4096}}) {
      EXPECT_FALSE(CopyGuarded(pages_ + 4096, buffer.data(), size)) << size;
      EXPECT_FALSE(CopyGuarded(buffer.data(), pages_ + 4096, size)) << size;
    }
    EXPECT_FALSE(CopyGuarded(pages_ + 4096 - 24, buffer.data(), 48)) << "in the middle";
    EXPECT_FALSE(StoreGuarded(pages_ + 4096, 1));
    EXPECT_FALSE(LoadGuarded(pages_ + 4096, word));
    EXPECT_TRUE(CopyGuarded(pages_, buffer.data(), 4096));
    EXPECT_TRUE(StoreGuarded(pages_ + 8192, 7));
    EXPECT_TRUE(LoadGuarded(pages_ + 8192, word));
    EXPECT_EQ(word, 7u);
  }
  EXPECT_TRUE(CopyGuarded(pages_, buffer.data(), buffer.size()));
}

}  // namespace
}  // namespace Tav::Platform
