// Damage of every kind is found, explained, and signalled by the exit status.
#include "tavcat/tavcat_fixture.h"

namespace Tav {
namespace {

using namespace std::string_literals;
using Testing::Chunk;
using Testing::Gzip;
using Testing::TavcatTest;
using Texts = std::vector<std::string>;

constexpr char kFile[] = "TavCache_9A80ECF5_0001";

class TavcatDamageTest : public TavcatTest {
 protected:
  // The explanations for a file with these contents. A good cache file after it must be shown.
  Texts Explain(const char* name, const std::string& contents) {
    folder.Put(name, contents);
    folder.Put("TavCache_9A80ECF5_0002", Chunk(Gzip(R"({"pn":"behind"})")));
    EXPECT_EQ(Run(), 1);
    ExpectShown(R"({"pn":"behind"})");
    std::filesystem::remove(folder.Path(name));
    return Damages();
  }
};

TEST_F(TavcatDamageTest, BrokenFramingIsExplainedWithItsOffset) {
  const std::string good = Chunk(Gzip("{}"));  // 27 bytes
  const auto broken = [&good](size_t index, char byte) {
    std::string bytes = good + good;
    bytes[index] = byte;
    return bytes;
  };
  const struct {
    std::string contents;
    const char* explanation;
  } cases[] = {
      {good + good.substr(0, 2),
       "chunk 2 at offset 27 torn: the file ends within the length; nothing from here on can be "
       "read, 2 bytes"},
      {good + good.substr(0, 20),
       "chunk 2 at offset 27 torn: the file ends within the payload, of which 16 of 22 bytes are "
       "there; nothing from here on can be read, 20 bytes"},
      {good + good.substr(0, 26), "torn: the file ends before the end mark; the record is whole"},
      {broken(26, 'x'),
       "chunk 1 at offset 0 ends with 0x78 instead of the mark 0x1D; nothing from here on can be "
       "read, 54 bytes"},
      {broken(27, '\0'),
       "chunk 2 at offset 27 begins with 0x00 instead of the mark 0x1C; nothing from here on can "
       "be read, 27 bytes"},
      {"\x1C\xFF\xFF\xFF"s,
       "chunk 1 at offset 0 torn: the file ends within the payload, of which 0 of 16777215 bytes "
       "are there; nothing from here on can be read, 4 bytes"},
      {"[1]",
       "unrecognised: the first byte is 0x5B, neither the mark 0x1C of a chunk nor '{'; the file "
       "cannot be read"},
  };
  for (const auto& [contents, explanation] : cases) {
    EXPECT_EQ(Explain(kFile, contents), Texts{explanation});
  }
}

TEST_F(TavcatDamageTest, ABadPayloadLosesOneRecord) {
  const Texts found = Explain(kFile, Chunk("no gzip") + Chunk("") + Chunk(Gzip("{}") + "x") +
                                         Chunk(Gzip("{\"a\":1,\"a\":2}")) + Chunk(Gzip("{}")));
  ASSERT_EQ(found.size(), 4u);
  const std::string gzip = "the payload is not a complete gzip member: ";
  EXPECT_EQ(found[0], gzip + "the gzip stream is damaged: incorrect header check");
  EXPECT_EQ(found[1], gzip + "the gzip stream ends too early");
  EXPECT_EQ(found[2], gzip + "1 bytes follow the end of the gzip stream");
  EXPECT_TRUE(found[3].starts_with("the text is not JSON (duplicate object key near '\"a\"'"))
      << found[3];
  ExpectShown("chunk 5 at offset ");
  ExpectShown("\n2 records in the cache; 4 faults found, marked with !\n");

  folder.Put(kFile, Chunk("no gzip") + Chunk(Gzip("{}")));
  EXPECT_EQ(Run({"--records"}), 1);
  EXPECT_EQ(output, "{}\n{\"pn\":\"behind\"}\n");
  EXPECT_TRUE(problems.starts_with("tavcat: TavCache_9A80ECF5_0001: the payload is not"))
      << problems;
}

TEST_F(TavcatDamageTest, ARecordOfMoreThan16MegabytesIsNotShown) {
  const std::string large = "{\"a\":\"" + std::string(16 << 20, 'a') + "\"}";
  EXPECT_EQ(
      Explain(kFile, Chunk(Gzip(large))),
      Texts{"the payload is not a complete gzip member: the body expands to more than 16777216 "
            "bytes"});
  const Texts found = Explain(kFile, "{}\n" + large + "\n{\"b\":2}");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_TRUE(found[0].starts_with("the text is not JSON (too large: 16777224 bytes, 1 brackets"))
      << found[0].substr(0, 100);
  ExpectShown("\n3 records in the cache;");
}

TEST_F(TavcatDamageTest, EveryTruncationIsFound) {
  const std::string whole = Chunk(Gzip("{\"a\":1}")) + Chunk(Gzip("{}"));
  const size_t boundary = whole.size() - 27;
  for (size_t length = 1; length < whole.size(); ++length) {
    folder.Put(kFile, whole.substr(0, length));
    EXPECT_EQ(Run(), length == boundary ? 0 : 1) << length;
  }
}

TEST_F(TavcatDamageTest, ABadLineLosesNoOther) {
  const Texts found = Explain(kFile, "{\"a\":1}\n{\"a\":1,\"a\":2}\nnonsense\n{\"torn");
  ASSERT_EQ(found.size(), 3u);
  EXPECT_TRUE(found[1].starts_with("the text is not JSON (")) << found[1];
  EXPECT_TRUE(found[1].ends_with("): nonsense")) << found[1];
  ExpectShown("line 4 at offset 31: 6 bytes\n");
  ExpectShown("\n2 records in the cache;");
}

std::string WithProduct(const std::string& product) {
  return R"({"Products": [)" + product + "]}";
}
std::string WithMember(const std::string& member) {
  return WithProduct(R"({"Name": "A", "Version": "1", "Platform": "p", )" + member + "}");
}

TEST_F(TavcatDamageTest, StorageFilesFollowTheRulesOfTheLibrary) {
  constexpr char kReplaced[] = "; the library treats it as empty and replaces it";
  const std::string product = R"({"Name": "A", "Version": "1", "Platform": "p"})";
  const struct {
    std::string contents;
    std::string explanation;  // how it begins
  } cases[] = {
      {"", "it is empty"},
      {product.substr(0, 20), "it is not JSON ("},
      {R"({"Products": [], "a": "1", "a": "2"})", "it is not JSON (duplicate object key"},
      {"[]", "the array Products is missing"s + kReplaced},
      {"{}", "the array Products is missing"s + kReplaced},
      {R"({"Products": {}})", "the array Products is an object"s + kReplaced},
      {R"({"Products": [], "OsName": true})", "this should be a text or a number; the library"},
      {R"({"Products": [], "LastClientQuery": "1"})", "this should be the number of a day"},
      {WithProduct("null"), "element 0 of Products is null, not an object"},
      {WithProduct(R"({"Name": "A"})"), "Name, Version or Platform is missing or not a text"},
      {WithProduct(product + ", " + product), "duplicate product"},
      {WithMember(R"("Values": [])"), "this should be an object"},
      {WithMember(R"("Settings": {"a": {}})"), "this should be a text or a number"},
      {WithMember(R"("Inhibit": {})"), "this should be an array"},
      {WithMember(R"("Inhibit": ["a", 1])"), "this should be a text"},
      {WithMember(R"("Registered": 1767225600)"), "this should be a text"},
  };
  for (const char* name : {"TavData", "TsTavData"}) {
    for (const auto& [contents, explanation] : cases) {
      const Texts found = Explain(name, contents);
      ASSERT_EQ(found.size(), 1u) << contents << output;
      EXPECT_TRUE(found[0].starts_with(explanation)) << found[0];
    }
  }
}

TEST_F(TavcatDamageTest, TimesOutOfRangeAreNotConverted) {
  folder.Put("TsTavData", WithMember(R"("LastActive": 1e300, "LastServerAccess": -1, )"
                                     R"("Registered": "99999999999999999999")"));
  EXPECT_EQ(Run(), 0);
  ExpectShown("LastServerAccess: -1\n");
  ExpectShown("Registered: \"99999999999999999999\"\n");
}

TEST_F(TavcatDamageTest, CopiesAndFoldersOfTheStorageFilesAreExplained) {
  const std::string left =
      "left by an interrupted save, unless a save is in progress; it is used only while the main "
      "file "
      "is not JSON";
  EXPECT_EQ(
      Explain("TavData.new", WithProduct(R"({"Name": "A", "Version": "1", "Platform": "p"})")),
      Texts{left});
  ExpectShown("TavData: does not exist");
  ExpectShown("    Product \"A\" \"1\" \"p\"\n");
  EXPECT_EQ(Explain("TsTavData.new", ""), (Texts{left, "it is empty; it cannot be used"}));
  std::filesystem::create_directory(folder.Path("TsTavData"));
  EXPECT_EQ(Run(), 1);
  ExpectShown("! there is a folder with the file's name");
}

}  // namespace
}  // namespace Tav
