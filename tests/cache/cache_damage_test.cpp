// What a cache gives back of files that are damaged, foreign in their contents, or of the older
// layout.
#include <cstdint>

#include "cache/cache_fixture.h"
#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"

namespace Tav {
namespace {

using namespace std::string_literals;
using Testing::CacheTest;
using Testing::CapturedLog;
using Testing::Chunk;
using Testing::Texts;
using Testing::TextsOf;

std::string Expand(const std::string& compressed) {
  MemoryInputStream memory(compressed.data(), compressed.size());
  GZipInputStream gzip(&memory);
  std::string text(4096, '\0');
  text.resize(gzip.Read(text.data(), text.size()));
  EXPECT_TRUE(gzip.Complete());
  return text;
}

class CacheDamageTest : public CacheTest {
 protected:
  // Loads a file of these contents and a good one behind it. Returns what came of the first, and
  // checks that the second came, too, the warnings but for the one about the loss, what that says,
  // and the error counter.
  Texts Load(const std::string& contents, const Texts& warnings, size_t lost) {
    Put(Name(1), contents);
    Put(Name(2), Chunk("good"));
    CapturedLog log;
    const uint32_t errors = CacheManager::ErrorCount();
    Texts texts = LoadAll();
    EXPECT_TRUE(Names().empty());
    Texts expected;
    for (const std::string& warning : warnings) {
      expected.push_back("warning: CM: " + warning);
    }
    if (lost > 0) {
      expected.push_back("warning: CM: " + std::to_string(lost) + " of " +
                         std::to_string(contents.size()) + " bytes in cache file '" + PathOf(1) +
                         "' could not be read");
    }
    Texts seen = log.Take();
    std::erase_if(seen, [](const auto& line) { return !line.starts_with("warning"); });
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(CacheManager::ErrorCount() - errors, warnings.size());
    if (texts.empty() || texts.back() != "good") {
      ADD_FAILURE() << "the file behind is not read";
      return texts;
    }
    texts.pop_back();
    return texts;
  }
};

TEST_F(CacheDamageTest, ChunksBeforeTheDamageComeThrough) {
  const std::string two = Chunk("one") + Chunk("two");
  const Texts both = {"one", "two"};
  const Texts first = {"one"};
  EXPECT_EQ(Load(two, {}, 0), both);
  EXPECT_EQ(
      Load(two + "\x1C", {"Error reading chunk data: Chunk size expected. Found (-1,-1,-1)"}, 1),
      both);
  EXPECT_EQ(Load(two + "\x1C\x07\x01",
                 {"Error reading chunk data: Chunk size expected. Found (7,1,-1)"}, 3),
            both);
  EXPECT_EQ(Load(two.substr(0, 13), {"Error reading cache file stream. Wanted 3 and got 1"}, 5),
            first);
  EXPECT_EQ(Load(two.substr(0, 12), {"Error reading cache file stream. Wanted 3 and got 0"}, 4),
            first);
  EXPECT_EQ(Load(two.substr(0, 15),
                 {"Error reading chunk data: End of chunk mark expected. Found (-1)"}, 7),
            first);
  EXPECT_EQ(Load(two + std::string(100, '\0'),
                 {"Error reading chunk data: Beginning of chunk mark expected. Found (0x00)"}, 100),
            both)
      << "a tail of zeros, as a power cut leaves it";
  EXPECT_EQ(Load(Chunk("one") + "\x1C\xFF\xFF\xFFxyz"s,
                 {"Error reading cache file stream. Wanted 16777215 and got 3"}, 7),
            first);
  std::string broken = two + Chunk("three");
  broken[9] = 4;  // the second length
  EXPECT_EQ(Load(broken, {"Error reading chunk data: End of chunk mark expected. Found (28)"},
                 broken.size() - 8),
            first);
}

TEST_F(CacheDamageTest, EveryCutOfAFileKeepsItsWholeChunks) {
  const std::string whole = Chunk("one") + Chunk(std::string(300, 'x')) + Chunk("");
  for (size_t length = 1; length < whole.size(); ++length) {
    Put(Name(1), whole.substr(0, length));
    EXPECT_EQ(LoadAll().size(), length < 8 ? 0u : length < 313 ? 1u : 2u) << length;
  }
}

TEST_F(CacheDamageTest, OtherContentsAreNamed) {
  EXPECT_EQ(Load("[1]", {"Unrecognized cache file. First byte is (0x5b)"}, 3), Texts{});
  EXPECT_EQ(Load("\0\0"s, {"Unrecognized cache file. First byte is (0x00)"}, 2), Texts{});
  EXPECT_EQ(Load("\xFF"s + Chunk("one"), {"Unrecognized cache file. First byte is (0xff)"}, 9),
            Texts{});

  const CapturedLog log;
  Put(Name(1), "");
  EXPECT_EQ(LoadAll(), Texts{});
  EXPECT_EQ(log.Find("CM: Zero"), "CM: Zero length cache file found");
  EXPECT_EQ(log.Find("warning"), "");
}

TEST_F(CacheDamageTest, LinesBecomeCompressedRecords) {
  const Texts records = Load("{ \"b\" : 1, \"a\" : [ 0.5, \"\\u00e9\" ] }\r\n\n{}\n[2]", {}, 0);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(Expand(records[0]), "{\"b\":1,\"a\":[0.5,\"\xC3\xA9\"]}");
  EXPECT_EQ(Expand(records[1]), "{}");
  EXPECT_EQ(Expand(records[2]), "[2]");
  EXPECT_EQ(records[0].substr(0, 3), "\x1F\x8B\x08");
}

TEST_F(CacheDamageTest, ABadLineCostsNoOther) {
  const std::string warning = "Error reading json data: Bad JSON value";
  const Texts records = Load("{\"a\":1}\n{\"a\":1,\"a\":2}\nnonsense\n{\"b\":2}\n{\"torn",
                             {warning, warning, warning}, 14 + 9 + 6);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(Expand(records[0]), "{\"a\":1}");
  EXPECT_EQ(Expand(records[1]), "{\"b\":2}");
}

}  // namespace
}  // namespace Tav
