// The output for an intact folder, and the program itself.
#include <cstdio>

#include "cache/cache_file_name.h"
#include "storage/storage_views.h"
#include "tavcat/tavcat_fixture.h"
#include "util/storage_directory.h"
#include "util/tav_file.h"

namespace Tav {
namespace {

using Testing::Chunk;
using Testing::Gzip;

constexpr char kRecord[] =
    R"({"pn":"Writer","pv":"1.0","pt":{},"rt":[)"
    R"({"t":"2026-01-01T10:00:00.001Z","s":"01234567-89ab-cdef-0123-456789abcdef","g":"$b"},)"
    R"({"t":"2026-01-01T10:00:01.001Z","s":"01234567-89ab-cdef-0123-456789abcdef","m":"open",)"
    R"("v":{"size":12.5}}]})";

using Access = PersistentStorage::Access;
using ProductEnvView = PersistentStorage::ProductEnvView;
using ProductView = PersistentStorage::ProductView;

using TavcatFolderTest = Testing::TavcatTest;

TEST_F(TavcatFolderTest, ShowsTheStorageFiles) {
  PersistentStorage storage;
  ASSERT_TRUE(storage.Open(Access::Update));
  PersistentStorage::ClientView(&storage).SetValue("OsName", "Wind\xC3\xB6ws");
  const ProductIdentity writer{"Writer", "4.2", "wntx64"};
  ProductView product(&storage, writer, Access::Update);
  product.SetValue("Registered", "1767225600");
  product.SetValue("PendingStdOptOut", "true");
  ProductEnvView(&storage, writer, ProductEnvView::Section::Values, Access::Update)
      .SetValue("std-OptOut", "false");
  ProductEnvView(&storage, writer, ProductEnvView::Section::Settings, Access::Update)
      .SetValue("flush_time", EnvValue::Number(120));
  PersistentStorage::InhibitEventView(&storage, writer, Access::Update).Append("mouse-moved");
  storage.CloseAndSave();
  ASSERT_TRUE(storage.OpenTimestamps(Access::Update));
  PersistentStorage::ClientView(&storage).SetValue("LastClientQuery", EnvValue::Number(20450));
  ProductView(&storage, writer, Access::Update).SetValue("LastActive", EnvValue::Number(20454));
  storage.CloseAndSave();

  EXPECT_EQ(Run(), 0);
  for (const char* text :
       {"    OsName: \"Wind\xC3\xB6ws\"\n", "    Product \"Writer\" \"4.2\" \"wntx64\"\n",
        "        Registered: \"1767225600\" = 2026-01-01 00:00:00 UTC\n",
        "        PendingStdOptOut: \"true\"\n",
        "        Values: 1\n            std-OptOut: \"false\"",
        "        Settings: 1\n            flush_time: 120.0\n",
        "        Inhibit: 1\n            0: \"mouse-moved\"\n",
        "    LastClientQuery: 20450.0 = 2025-12-28\n", "        LastActive: 20454.0 = 2026-01-01\n",
        "\n0 records in the cache; no damage found\n"}) {
    ExpectShown(text);
  }
}

TEST_F(TavcatFolderTest, ShowsTheCacheRecordByRecord) {
  Cache("Writer", {kRecord, "{}"});
  EXPECT_EQ(Run(), 0);
  const std::string size = std::to_string(Gzip(kRecord).size());
  ExpectShown("    chunk 1 at offset 0: " + size + " bytes, expanded " +
              std::to_string(std::string(kRecord).size()) + "; Writer 1.0, 2 events\n        " +
              kRecord + "\n    chunk 2 at offset " + std::to_string(Gzip(kRecord).size() + 5) +
              ": 22 bytes, expanded 2; no product named, 0 events\n        {}\n");
  ExpectShown("TavData: does not exist");
  ExpectShown("\n2 records in the cache; no damage found\n");

  EXPECT_EQ(Run({"--events"}), 0);
  ExpectShown(
      "        {\"pn\":\"Writer\",\"pv\":\"1.0\",\"pt\":{}}\n"
      "            2026-01-01T10:00:00.001Z  01234567  $b\n"
      "            2026-01-01T10:00:01.001Z  01234567  open  {\"size\":12.5}\n");

  EXPECT_EQ(Run({"--records"}), 0);
  EXPECT_EQ(output, std::string(kRecord) + "\n{}\n");
}

TEST_F(TavcatFolderTest, ShowsFilesByPrefixAndNumber) {
  for (const char* name : {"TavCache_9A80ECF5_0010", "TavCache_9A80ECF5_0002",
                           "TavDCache_00000001_0001", "TavCache_0001AAD5_9999"}) {
    folder.Put(name, "");
  }
  // Almost the library's names.
  for (const char* name :
       {"TavCache_9A80ECF5_0000", "TavCache_9a80ecf5_0001", "TavCache_9A80ECF5_001",
        "TavXCache_9A80ECF5_0001", "TavCache_9A80ECF5_0001.bak", "notes.txt"}) {
    folder.Put(name, "\x1C");
  }
  EXPECT_EQ(Run(), 0);
  size_t before = 0;
  for (const char* name :
       {"\nTavData: ", "\nTsTavData: ", "\n\nTavCache_0001AAD5_9999: ",
        "\n\nTavCache_9A80ECF5_0002: ", "\nTavCache_9A80ECF5_0010: ",
        "\n\nTavDCache_00000001_0001: ", "\n\nNot the library's:\n", "    TavCache_9A80ECF5_0000\n",
        "    TavCache_9A80ECF5_0001.bak\n", "    TavCache_9A80ECF5_001\n",
        "    TavCache_9a80ecf5_0001\n", "    TavXCache_9A80ECF5_0001\n", "    notes.txt\n"}) {
    const size_t at = output.find(name);
    EXPECT_TRUE(at != output.npos && at > before) << name << output;
    before = at;
  }
}

TEST_F(TavcatFolderTest, ReadsTheOlderLayout) {
  folder.Put("TavCache_9A80ECF5_0001", "{ \"pn\" :\t1}\r\n\n[2]");
  EXPECT_EQ(Run(), 0);
  ExpectShown(
      "    line 1 at offset 0: 11 bytes; no product named, 0 events\n        { \"pn\" : 1}\n");
  ExpectShown("    line 3 at offset 14: 3 bytes;");
  EXPECT_EQ(Run({"--records"}), 0);
  EXPECT_EQ(output, "{ \"pn\" : 1}\n[2]\n");
}

TEST_F(TavcatFolderTest, EscapesWhatCouldControlATerminal) {
  const std::string record =
      "{\"a\x7F\":\"\xC2\x9B\xE2\x80\xAE\xC3\xA9\\u001b\",\"pn\":\"\\u001b[2J\",\"pv\":\"\"}";
  Cache("p", {record, "\x1B]0;x\x07\xFF"});
  EXPECT_EQ(Run({"--events"}), 1);
  EXPECT_EQ(output.find_first_of("\x1B\x07\x7F\xFF"), output.npos) << output;
  EXPECT_EQ(Run({"--records"}), 1);
  EXPECT_EQ(output,
            "{\"a\\u007f\":\"\\u009b\\u202e\xC3\xA9\\u001b\",\"pn\":\"\\u001b[2J\",\"pv\":\"\"}\n");
  EXPECT_NE(problems.find("\\u001b]0;x\\u0007\\xff"), problems.npos) << problems;
}

// Which files in use can be read differs between systems; in use is not damage on any of them.
TEST_F(TavcatFolderTest, LeavesFilesInUseAlone) {
  Cache("Writer", {kRecord});
  PersistentStorage storage;
  ASSERT_TRUE(storage.Open(Access::Update));
  storage.CloseAndSave();
  ASSERT_TRUE(storage.Open(Access::Update));
  TavFile taken;
  const std::string path =
      JoinStoragePath(CacheFileName(CachePrefix("Writer", "1.0", Deployment()), 1));
  ASSERT_TRUE(taken.OpenAtomic(path.c_str()));

  EXPECT_EQ(Run(), 0) << output;
  ExpectShown("no damage found");
  char first = 0;
  EXPECT_EQ(taken.Read(&first, 1), 1u);
  EXPECT_EQ(first, 0x1C);
  EXPECT_TRUE(taken.Close());
  PersistentStorage::ClientView(&storage).SetValue("OsName", "later");
  storage.CloseAndSave();
  EXPECT_EQ(Run(), 0);
  ExpectShown("OsName: \"later\"");
}

TEST_F(TavcatFolderTest, RejectsBadArguments) {
  const std::string folderName = Folder();
  folder.Put("file", "");
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--nonsense", folderName},
        {folderName, folderName},
        {""},
        {"--events", "--records", folderName},
        {folderName + "/none"},
        {folderName + "/file"}}) {
    EXPECT_EQ(RunWith(arguments), 2);
    EXPECT_EQ(output, "");
    EXPECT_TRUE(problems.starts_with("tavcat: ")) << problems;
  }
  EXPECT_EQ(RunWith({"--help"}), 0);
  EXPECT_NE(output.find("Usage: tavcat"), std::string::npos);
  // After "--" a name may begin with "-".
  EXPECT_EQ(RunWith({"--", "--help"}), 2);
  EXPECT_EQ(problems, "tavcat: cannot read the folder --help\n");
}

// The program, with paths that no ANSI code page can represent.
class TavcatProgramTest : public Testing::TavcatTest {
 protected:
  // Runs it with the folder as a quoted argument, or without arguments.
  int RunProgram(bool withFolder) {
    const std::filesystem::path program = std::filesystem::path(TAVCAT_PROGRAM).make_preferred();
    std::filesystem::path command = "\"" + program.string() + "\"";
    if (withFolder) {
      command += " \"";
      command += folder.Path("").parent_path();
      command += "\"";
    }
#ifdef _WIN32
    // cmd removes one pair of quotation marks.
    std::FILE* const pipe = _wpopen((L"\"" + command.wstring() + L"\"").c_str(), L"rb");
#else
    std::FILE* const pipe = popen(command.c_str(), "r");
#endif
    output.clear();
    for (int byte = std::fgetc(pipe); byte != EOF; byte = std::fgetc(pipe)) {
      output += static_cast<char>(byte);
    }
#ifdef _WIN32
    return _pclose(pipe);
#else
    return WEXITSTATUS(pclose(pipe));
#endif
  }
};

TEST_F(TavcatProgramTest, PrintsUtf8AndReturnsTheStatus) {
  const std::string record = "{\"pn\":\"Gr\xC3\xBCn\"}";
  folder.Put("TavCache_9A80ECF5_0001", Chunk(Gzip(record)));
  const auto before = State();
  EXPECT_EQ(RunProgram(true), 0);
  EXPECT_EQ(State(), before);
  ExpectShown("Folder " + Folder() + "\n");
  ExpectShown(record + '\n');
  folder.Put("TavCache_9A80ECF5_0002", "?");
  EXPECT_EQ(RunProgram(true), 1);
}

TEST_F(TavcatProgramTest, UsesTheFolderOfTheUserAndDoesNotCreateIt) {
#ifdef _WIN32
  EXPECT_EQ(RunProgram(false), 0);
  ExpectShown("Folder " + Folder() + "\n");
#endif
  std::filesystem::remove_all(folder.Base() / "Quendel");
  EXPECT_EQ(RunProgram(false), 2);
  EXPECT_EQ(RunProgram(true), 2);
  EXPECT_TRUE(std::filesystem::is_empty(folder.Base()));
}

}  // namespace
}  // namespace Tav
