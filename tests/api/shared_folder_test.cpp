// A storage folder in which somebody else has placed files under the names of the library's own.
#include <algorithm>
#include <filesystem>

#include "cache/cache_file_name.h"
#include "support/table_fixture.h"
#include "transport/data_sender.h"

namespace Tav::Testing {
namespace {

namespace fs = std::filesystem;

class SharedFolderTest : public TableTest {
 protected:
  fs::path CachePath(int sequence) const {
    return folder_.Path(
        CacheFileName(CachePrefix("Editor", "4.2", Deployment()), sequence).c_str());
  }
  // Another name for `victim`, which may be in a folder of another user.
  void Link(const char* victim, const fs::path& name) const {
    fs::remove(name);
    fs::create_hard_link(folder_.Path(victim), name);
  }
  // Uses a gateway that refuses everything.
  void RunWithoutGateway(const char* event) {
    TestDataSender::SetHook([](const uint8_t*, size_t) -> int32_t { return 1; });
    Start();
    tav.LogEvent(tav.NewEvent(event));
    Stop();
  }
};

TEST_F(SharedFolderTest, LinkedStorageFilesAreNeitherReadNorWritten) {
  const std::string document =
      R"({"Products": [{"Name": "Editor", "Version": "4.2", "Platform": "wntx64",)"
      R"( "Settings": {"disabled": 1.0}}]})";
  folder_.Put("victim", document);
  for (const char* name : {"TavData", "TavData.new", "TsTavData", "TsTavData.new"}) {
    Link("victim", folder_.Path(name));
  }
  tav.AddProductInfo("Edition", "Pro");
  Start();
  tav.LogEvent(tav.NewEvent("Sent"));
  EXPECT_EQ(tav.Commit(), 0) << "the victim's settings do not apply";
  Stop();
  EXPECT_EQ(EventsNamed("Sent").size(), 1u);
  EXPECT_EQ(folder_.Contents("victim"), document);
  for (const char* name : {"TavData", "TsTavData"}) {
    EXPECT_EQ(folder_.Contents(name), document);
    EXPECT_TRUE(fs::exists(folder_.Path((std::string(name) + ".new").c_str())));
    // In the log, %USERPROFILE% may stand for the first part of the path.
    const std::string path = StorageFolder::Utf8(folder_.Path(name));
    EXPECT_TRUE(
        LineWith(path.substr(path.find("Quendel")) + "' is a link or has several names. Not opened")
            .starts_with("warning: SF: File '"))
        << name;
  }
  ExpectLogged("error: PS: Cannot open PS file");

  // Only the copies: nothing can be saved.
  fs::remove(folder_.Path("TavData"));
  tav.AddProductInfo("Edition", "Ultra");
  Start();
  EXPECT_EQ(tav.Commit(), 0);
  Stop();
  EXPECT_EQ(folder_.Contents("victim"), document);
  EXPECT_EQ(folder_.Contents("TavData"), "");
}

TEST_F(SharedFolderTest, LinkedCacheFilesAreNeitherUsedNorInTheWay) {
  folder_.Put("empty", "");
  folder_.Put("whole", std::string("\x1C\2\0\0{}\x1D", 7));
  Link("whole", CachePath(1));
  Link("empty", CachePath(2));
  RunWithoutGateway("Cached");
  EXPECT_TRUE(fs::exists(CachePath(3)));

  Start();
  TestDataSender::SetHook([](const uint8_t*, size_t) -> int32_t { return 0; });
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(tav.Commit(), 0);
  }
  EXPECT_FALSE(fs::exists(CachePath(3))) << "sent";
  Lines complaints = Complaints();
  std::erase_if(complaints, [](const std::string& line) {
    return line.find("to load. Cache disabled: 0") == std::string::npos;
  });
  EXPECT_EQ(complaints.size(), 2u) << "one for each file, whatever the number of attempts";
  Stop();
  RunWithoutGateway("Cached again");
  EXPECT_TRUE(fs::exists(CachePath(3)));
  EXPECT_EQ(LineWith("are lost"), "");
  EXPECT_EQ(folder_.Contents("whole").size(), 7u);
  EXPECT_EQ(folder_.Contents("empty"), "");
  EXPECT_TRUE(fs::exists(CachePath(1)) && fs::exists(CachePath(2)));
}

}  // namespace
}  // namespace Tav::Testing
