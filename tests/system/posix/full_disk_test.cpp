// A full disk.
#include <sys/mount.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "system/posix/durability_fixture.h"

namespace Tav::Testing {
namespace {

// A small file system for the user's folder.
class FullDiskTest : public HostProcessTest {
 protected:
  void SetUp() override {
    if (mount("tmpfs", Base().c_str(), "tmpfs", 0, "size=64k") != 0) {
      GTEST_SKIP() << "cannot mount a small file system: " << std::strerror(errno);
    }
    mounted_ = true;
    std::filesystem::create_directories(Storage());
    // Records are written to the disk at once; a failed send is not repeated during the test.
    PutSettings(R"({"flush_time":0.0,"max_memory_size":30000.0,"max_record_size":8000.0,)"
                R"("resend_time":1000.0})");
    GatewayPost("api/faults", R"({"kind":"status","status":503,"count":1000})");
  }
  void TearDown() override {
    if (mounted_) {
      EXPECT_EQ(umount2(Base().c_str(), MNT_DETACH), 0);
    }
  }

  // Reports more than the disk can hold.
  static void Fill(HostProcess& host) {
    host.Send("start\nlog 600 300");
    host.Await("warning: CM: Cannot write to cache file");
  }

 private:
  bool mounted_ = false;
};

TEST_F(FullDiskTest, RecordsStayInMemoryUntilTheyAreSent) {
  HostProcess host(Host("host"));
  Fill(host);
  host.Send("log 50 20\ncommit");
  EXPECT_NE(host.Await("committed "), "committed 0");
  EXPECT_EQ(GatewayCount("records"), 0);
  EndFaults();
  host.Send("commit\nterminate");
  host.Finish();
  EXPECT_EQ(host.Accepted().size(), 650u);
  EXPECT_EQ(host.Logged("could be neither sent nor stored"), "");
  EXPECT_EQ(ReadCache().files, Lines());
  ExpectArrived(host.Accepted());
}

TEST_F(FullDiskTest, TerminateLogsWhatIsLost) {
  HostProcess host(Host("host"));
  Fill(host);
  host.Send("terminate");
  host.Finish();
  const std::string message = host.Logged("could be neither sent nor stored and are lost");
  int records = 0;
  int bytes = 0;
  EXPECT_EQ(std::sscanf(message.substr(message.find("SM:")).c_str(), "SM: %d records (%d bytes)",
                        &records, &bytes),
            2)
      << message;
  EXPECT_GT(records, 0);
  EXPECT_GT(bytes, 0);

  const CacheContents cache = ReadCache();
  EXPECT_EQ(cache.faults, Lines());
  EXPECT_FALSE(cache.events.empty());
  EXPECT_LT(cache.events.size(), host.Accepted().size());
  EndFaults();
  DeliverCache();
  ExpectArrived(cache.events);
}

}  // namespace
}  // namespace Tav::Testing
