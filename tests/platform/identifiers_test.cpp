#include "platform/identifiers.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include "util/format.h"

namespace Tav::Platform {
namespace {

std::string Hex(HashAlgorithm algorithm, const std::string& text) {
  std::vector<uint8_t> digest(64, 0xEE);
  const HashResult result = Hash(algorithm, text.data(), text.size(), digest.data(), 64);
  EXPECT_EQ(result.failedStep, HashStep::None);
  EXPECT_EQ(digest[result.length], 0xEE) << "wrote past the digest";
  return HexText(digest.data(), result.length);
}

// The examples published with the algorithms.
TEST(HashTest, MatchesThePublishedExamples) {
  EXPECT_EQ(Hex(HashAlgorithm::Sha1, "abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(Hex(HashAlgorithm::Sha1, ""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
  EXPECT_EQ(Hex(HashAlgorithm::Sha256, "abc"),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(Hex(HashAlgorithm::Sha256, std::string(1000000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(HashTest, WritesNothingIntoADigestThatIsTooSmall) {
  std::vector<uint8_t> digest(31, 0xEE);
  const HashResult result = Hash(HashAlgorithm::Sha256, "abc", 3, digest.data(), 31);
  EXPECT_EQ(result.failedStep, HashStep::DigestTooLarge);
  EXPECT_EQ(result.length, 0u);
  EXPECT_EQ(digest, std::vector<uint8_t>(31, 0xEE));
}

// `count` UUIDs of each of `threads` threads, as bytes.
std::set<std::string> Collect(Uuid (*make)(), int threads, int count) {
  std::vector<std::vector<Uuid>> made(static_cast<size_t>(threads));
  std::vector<std::thread> running;
  for (std::vector<Uuid>& list : made) {
    running.emplace_back([&list, make, count] {
      for (int i = 0; i < count; ++i) {
        list.push_back(make());
      }
    });
  }
  std::set<std::string> all;
  for (size_t i = 0; i < running.size(); ++i) {
    running[i].join();
    for (const Uuid& uuid : made[i]) {
      EXPECT_EQ(uuid.data3 >> 12, 4);
      EXPECT_EQ(uuid.data4[0] >> 6, 2);
      all.emplace(reinterpret_cast<const char*>(&uuid), sizeof uuid);
    }
  }
  return all;
}

TEST(NewUuidTest, IsUniqueAndHasVersion4) {
  EXPECT_EQ(Collect(NewUuid, 1, 200).size(), 200u);
  EXPECT_EQ(Collect(NewUniqueUuid, 4, 10000).size(), 40000u);
}

TEST(ProcessSeedTest, DiffersAtEachCall) {
  EXPECT_NE(GatherProcessSeed(), GatherProcessSeed());
}

}  // namespace
}  // namespace Tav::Platform
