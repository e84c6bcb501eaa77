// The names of cache files, and files that are damaged, foreign or of the older layout.
#include "cache/cache_fixture.h"
#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"

namespace Tav::Testing {
namespace {

using namespace std::string_literals;

TEST(CacheFileNameTest, PrefixDependsOnProductAndDeployment) {
  Deployment deployment;
  EXPECT_EQ(CachePrefix("p1", "v", deployment), "TavCache_0001AAD5_");
  EXPECT_EQ(CachePrefix("\xC3\xA9", "1", deployment), "TavCache_FFFF10AB_") << "bytes are signed";
  deployment.internal = true;
  EXPECT_EQ(CachePrefix("p1", "v", deployment), "TavICache_0001AAD5_");
  deployment.debugLog = true;
  EXPECT_EQ(CachePrefix("p1", "v", deployment), "TavDCache_0001AAD5_");
}

TEST(CacheFileNameTest, OtherNamesHaveNoSequence) {
  EXPECT_EQ(CacheSequence("P_", CacheFileName("P_", 7)), 7);
  EXPECT_EQ(CacheSequence("P_", "P_9999"), 9999);
  for (const char* name : {"P_0000", "P_007", "P_00007", "P_10000", "P_0007 ", "P_+007", "p_0007",
                           "P_", "", "P_0007.bak", "P_00x7", "xP_0007"}) {
    EXPECT_EQ(CacheSequence("P_", name), 0) << name;
  }
}

std::string Expand(const std::string& compressed) {
  MemoryInputStream memory(compressed.data(), compressed.size());
  GZipInputStream gzip(&memory);
  std::string text(4096, '\0');
  text.resize(gzip.Read(text.data(), text.size()));
  EXPECT_TRUE(gzip.Complete());
  return text;
}

class CacheFileReaderTest : public CacheFixture {
 protected:
  // Loads a file of these contents and a good one after it; returns the records of the first.
  // Expects these warnings, one more if bytes are lost, and as many counted errors as `warnings`.
  Texts Load(const std::string& contents, const Texts& warnings = {}, size_t lost = 0) {
    Put(1, contents);
    Put(2, Chunk("good"));
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
                         std::to_string(contents.size()) + " bytes in cache file '" + PathText(1) +
                         "' could not be read");
    }
    Texts seen = log.Take();
    std::erase_if(seen, [](const auto& line) { return !line.starts_with("warning"); });
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(CacheManager::ErrorCount() - errors, warnings.size());
    EXPECT_FALSE(texts.empty());
    if (!texts.empty()) {
      EXPECT_EQ(texts.back(), "good");
      texts.pop_back();
    }
    return texts;
  }
};

TEST_F(CacheFileReaderTest, ReadsTheChunksBeforeTheDamage) {
  const std::string framing = "Error reading chunk data: ";
  const std::string cut = "Error reading cache file stream. Wanted ";
  const std::string foreign = "Unrecognized cache file. First byte is ";
  const std::string two = Chunk("one") + Chunk("two");
  std::string wrongLength = two + Chunk("three");
  wrongLength[9] = 4;
  const Texts one = {"one"};
  const Texts both = {"one", "two"};
  EXPECT_EQ(Load(two), both);
  EXPECT_EQ(Load(two + "\x1C", {framing + "Chunk size expected. Found (-1,-1,-1)"}, 1), both);
  EXPECT_EQ(Load(two + "\x1C\7\1", {framing + "Chunk size expected. Found (7,1,-1)"}, 3), both);
  EXPECT_EQ(Load(two.substr(0, 13), {cut + "3 and got 1"}, 5), one);
  EXPECT_EQ(Load(two.substr(0, 12), {cut + "3 and got 0"}, 4), one);
  EXPECT_EQ(Load(Chunk("one") + "\x1C\xFF\xFF\xFFxyz", {cut + "16777215 and got 3"}, 7), one);
  EXPECT_EQ(Load(two.substr(0, 15), {framing + "End of chunk mark expected. Found (-1)"}), both);
  EXPECT_EQ(Load(wrongLength, {framing + "End of chunk mark expected. Found (28)"}, 18), one);
  EXPECT_EQ(Load(two + std::string(100, '\0'),
                 {framing + "Beginning of chunk mark expected. Found (0x00)"}, 100),
            both)
      << "a tail of zeros, as a power cut leaves it";
  EXPECT_EQ(Load("[1]", {foreign + "(0x5b)"}, 3), Texts{});
  EXPECT_EQ(Load("\0\0"s, {foreign + "(0x00)"}, 2), Texts{});
  EXPECT_EQ(Load("\xFF" + Chunk("one"), {foreign + "(0xff)"}, 9), Texts{});

  const CapturedLog log;
  Put(1, "");
  EXPECT_EQ(LoadAll(), Texts{});
  EXPECT_EQ(log.Find("CM: Zero"), "CM: Zero length cache file found");
  EXPECT_EQ(log.Find("warning"), "");
}

TEST_F(CacheFileReaderTest, ReadsTheWholePayloadsOfATruncatedFile) {
  const std::string whole = Chunk("one") + Chunk(std::string(300, 'x')) + Chunk("");
  for (size_t length = 1; length < whole.size(); ++length) {
    Put(1, whole.substr(0, length));
    EXPECT_EQ(LoadAll().size(), length < 7     ? 0u
                                : length < 312 ? 1u
                                : length < 317 ? 2u
                                               : 3u)
        << length;
  }
}

TEST_F(CacheFileReaderTest, CompressesJsonLines) {
  const Texts records = Load("{ \"b\" : 1, \"a\" : [ 0.5, \"\\u00e9\" ] }\r\n\n{}\n[2]");
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(Expand(records[0]), "{\"b\":1,\"a\":[0.5,\"\xC3\xA9\"]}");
  EXPECT_EQ(Expand(records[1]), "{}");
  EXPECT_EQ(Expand(records[2]), "[2]");
}

TEST_F(CacheFileReaderTest, SkipsBadLines) {
  const std::string warning = "Error reading json data: Bad JSON value";
  const Texts records = Load("{\"a\":1}\n{\"a\":1,\"a\":2}\nnonsense\n{\"b\":2}\n{\"torn",
                             {warning, warning, warning}, 14 + 9 + 6);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(Expand(records[0]), "{\"a\":1}");
  EXPECT_EQ(Expand(records[1]), "{\"b\":2}");
}

TEST_F(CacheFileReaderTest, SkipsLinesOfMoreThan16Megabytes) {
  const std::string large = "{\"a\":\"" + std::string(16 << 20, 'a') + "\"}\n";
  const Texts records = Load("{\"a\":1}\n" + large + "{\"b\":2}\n",
                             {"Error reading json data: Bad JSON value"}, large.size());
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(Expand(records[1]), "{\"b\":2}");
}

}  // namespace
}  // namespace Tav::Testing
