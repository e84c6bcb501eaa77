#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "util/arena.h"
#include "util/block_pool.h"
#include "util/handle_pool.h"
#include "util/json.h"

namespace Tav {
namespace {

TEST(BlockPoolTest, BlocksOfSeveralThreadsNeverOverlap) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 40;
  constexpr size_t kHeld = 200;
  std::vector<std::thread> threads;
  for (int id = 0; id < kThreads; ++id) {
    threads.emplace_back([id] {
      for (int round = 0; round < kRounds; ++round) {
        std::vector<void*> held;
        for (size_t i = 0; i < kHeld; ++i) {
          void* const block = BlockPool::Acquire();
          ASSERT_NE(block, nullptr);
          std::memset(block, id * kRounds + round, BlockPool::kUsableSize);
          held.push_back(block);
        }
        for (void* const block : held) {
          const auto* const bytes = static_cast<const unsigned char*>(block);
          const auto mark = static_cast<unsigned char>(id * kRounds + round);
          ASSERT_EQ(bytes[0], mark);
          ASSERT_EQ(bytes[BlockPool::kUsableSize - 1], mark);
          BlockPool::Release(block);
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  BlockPool::Trim();
  EXPECT_EQ(BlockPool::CommittedSlabs(), 0u);
}

TEST(BlockPoolTest, ReturnsTheMemoryOfABurstToTheSystem) {
  constexpr size_t kSlabs = 12;
  std::vector<void*> held;
  for (size_t i = 0; i < kSlabs * BlockPool::kBlocksPerSlab; ++i) {
    held.push_back(BlockPool::Acquire());
  }
  EXPECT_GE(BlockPool::CommittedSlabs(), kSlabs);
  for (void* const block : held) {
    BlockPool::Release(block);
  }
  EXPECT_LE(BlockPool::CommittedSlabs(), 4u);
  // Released slabs are used before new ones.
  const size_t before = BlockPool::CommittedSlabs();
  for (size_t i = 0; i < 2 * BlockPool::kBlocksPerSlab; ++i) {
    BlockPool::Release(BlockPool::Acquire());
  }
  EXPECT_EQ(BlockPool::CommittedSlabs(), before);
  BlockPool::Trim();
}

// A spent handle must be recognised for a while, and memory that was used before is in the caches.
TEST(BlockPoolTest, ABlockReleasedAtOnceRestsAndComesBack) {
  std::set<void*> resting;
  for (size_t i = 0; i < 4 * BlockPool::kBlocksPerSlab; ++i) {
    if (i % BlockPool::kBlocksPerSlab == 0) {
      resting.clear();
    }
    void* const block = BlockPool::Acquire();
    ASSERT_TRUE(resting.insert(block).second) << i;
    BlockPool::Release(block);
  }
  EXPECT_EQ(BlockPool::CommittedSlabs(), 1u);
  BlockPool::Trim();
}

TEST(BlockPoolTest, TrimKeepsASlabThatIsInUse) {
  void* const block = BlockPool::Acquire();
  BlockPool::Trim();
  std::memset(block, 1, BlockPool::kUsableSize);
  BlockPool::Release(block);
  BlockPool::Trim();
  EXPECT_EQ(BlockPool::CommittedSlabs(), 0u);
}

struct Pooled {
  uint64_t words[3];
};

TEST(HandlePoolTest, SpentObjectsRestAndMemoryStaysBounded) {
  static constinit HandlePool<Pooled> pool;
  std::vector<void*> held;
  for (int i = 0; i < 100; ++i) {
    held.push_back(pool.Acquire());
  }
  EXPECT_EQ(std::set<void*>(held.begin(), held.end()).size(), 100u);
  for (int i = 0; i < 10000; ++i) {
    void* const spent = held.back();
    held.pop_back();
    static_cast<Pooled*>(spent)->words[0] = 7;
    pool.Release(spent);
    for (size_t rest = 0; rest < pool.kMinSpent - 1; ++rest) {
      void* const other = pool.Acquire();
      ASSERT_NE(other, spent);
      pool.Release(other);
    }
    ASSERT_FALSE(pool.IsLive(spent));
    ASSERT_EQ(static_cast<Pooled*>(spent)->words[0], 7u);
    held.push_back(pool.Acquire());
  }
  EXPECT_LE(pool.Capacity(), 256u);
  EXPECT_EQ(pool.LiveCount(), 100u);
  for (void* const object : held) {
    EXPECT_TRUE(pool.IsLive(object));
    EXPECT_FALSE(pool.IsLive(static_cast<char*>(object) + 1));
    pool.Release(object);
  }
  EXPECT_FALSE(pool.IsLive(nullptr) || pool.IsLive(&held) || pool.Claim(held[0]));
}

TEST(HandlePoolTest, OneOfManyThreadsClaimsAnObject) {
  static constinit HandlePool<Pooled> pool;
  for (int round = 0; round < 200; ++round) {
    void* const object = pool.Acquire();
    std::atomic<int> claims{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([&] {
        claims += pool.Claim(object) ? 1 : 0;
        pool.Release(pool.Acquire());
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    ASSERT_EQ(claims, 1);
    pool.Release(object);
  }
  EXPECT_EQ(pool.LiveCount(), 0u);
}

TEST(ArenaTest, GrowsByBlocksAndRejectsWhatNoBlockHolds) {
  Arena* const arena = Arena::Create();
  std::set<char*> seen;
  for (int i = 0; i < 100; ++i) {
    auto* const memory = static_cast<char*>(arena->Allocate(500));
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % 8, 0u);
    std::memset(memory, i, 500);
    EXPECT_TRUE(seen.insert(memory).second);
  }
  EXPECT_EQ(arena->Allocate(BlockPool::kBlockSize), nullptr);
  EXPECT_EQ(arena->Allocate(SIZE_MAX), nullptr);
  Arena::Destroy(arena);
  BlockPool::Trim();
  EXPECT_EQ(BlockPool::CommittedSlabs(), 0u);
}

TEST(JsonTest, TextThatJsonRejectsIsDecodedAsLatin1) {
  EXPECT_EQ(JsonStringView(MakeJsonString("").Get()), "");
  EXPECT_EQ(JsonStringView(MakeJsonString({}).Get()), "");
  EXPECT_EQ(JsonStringView(MakeJsonString("gr\xC3\xBC\xC3\x9F").Get()), "gr\xC3\xBC\xC3\x9F");
  // An over-long form and a surrogate: IsUtf8 accepts them, jansson does not.
  EXPECT_EQ(JsonStringView(MakeJsonString("a\xC0\x80").Get()), "a\xC3\x80\xC2\x80");
  JsonPtr object(json_object());
  EXPECT_TRUE(SetJsonMember(object.Get(), "k\xED\xA0\x80", JsonPtr(json_true())));
  EXPECT_TRUE(SetJsonMember(object.Get(), "k", JsonPtr(json_integer(1))));
  EXPECT_TRUE(SetJsonMember(object.Get(), "k", JsonPtr(json_integer(2))));
  EXPECT_FALSE(SetJsonMember(object.Get(), "k", JsonPtr()));
  EXPECT_EQ(json_object_size(object.Get()), 2u);
  EXPECT_EQ(json_integer_value(json_object_get(object.Get(), "k")), 2);
}

}  // namespace
}  // namespace Tav
