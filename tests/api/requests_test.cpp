#include <memory>

#include "streams/base64_stream.h"
#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"
#include "support/records.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

class RequestsTest : public TableTest {
 protected:
  // A DEBUG line that ends with process, processor and thread.
  void ExpectAsked(const std::string& what) { EXPECT_NE(LineWith(what + ". Pid: "), ""); }
};

TEST_F(RequestsTest, ThereIsNoAnswerWhileNotRunning) {
  char buffer[] = "xxxx";
  tav.GetEndpointIdentifier(buffer, sizeof buffer);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(tav.GetLastServerAccessTime(), -1);
  EXPECT_EQ(tav.GetLastActiveTime(), -1);
  EXPECT_EQ(tav.PullData(), nullptr);
  tav.PushData("data");
  tav.FreeData(nullptr);
  EXPECT_STREQ(tav.GetVersion(), "2.8.2.1187559");
  EXPECT_EQ(Complaints(), Lines{});
}

TEST_F(RequestsTest, TheRunningLibraryAnswers) {
  Start();
  EXPECT_EQ(tav.GetLastActiveTime(), 0);
  EXPECT_EQ(tav.GetLastServerAccessTime(), 0);
  EXPECT_EQ(tav.Commit(), 0);                       // sends the product's values
  EXPECT_GT(tav.GetLastServerAccessTime(), 20000);  // a day
  char buffer[8] = "xxxxxxx";
  tav.GetEndpointIdentifier(buffer, 1);
  EXPECT_EQ(std::string(buffer, 3), std::string("\0xx", 3));
  tav.GetEndpointIdentifier(buffer, 0);
  tav.GetEndpointIdentifier(nullptr, 8);
  EXPECT_EQ(std::string(buffer, 3), std::string("\0xx", 3));
  ExpectAsked("TavGetLastActiveTime");
  ExpectAsked("TavGetLastServerAccessTime");
  ExpectAsked("TavGetEndpointIdentifier");
}

TEST_F(RequestsTest, SuspendAndResumeReachTheSessionManager) {
  Start();
  tav.Suspend();
  tav.Resume();
  Stop();
  ExpectLogged("SM: Suspend");
  ExpectLogged("SM: Resume");
  ExpectLogged("SM: SuspendTerm");
}

TEST_F(RequestsTest, APulledRecordIsTheHostsUntilItIsPushedBack) {
  Start();
  tav.LogEvent(tav.NewEvent("Carried"));
  const std::unique_ptr<char, void (*)(void*)> block(tav.PullData(), tav.FreeData);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(tav.PullData(), nullptr);
  EXPECT_EQ(tav.Commit(), 0);
  EXPECT_EQ(EventsNamed("Carried").size(), 0u);
  tav.PushData(nullptr);
  EXPECT_EQ(Complaints().size(), 1u);
  tav.PushData(block.get());
  Stop();
  EXPECT_EQ(EventsNamed("Carried").size(), 1u);
  EXPECT_EQ(Complaints(), Lines{});
}

// The base64 form of a gzip member.
std::string Block(const std::string& text) {
  MemoryOutputStream block;
  Base64OutputStream base64(&block);
  GZipOutputStream gzip(&base64);
  gzip.Write(text.data(), text.size());
  gzip.Flush();
  const std::vector<uint8_t> bytes = block.Join();
  return std::string(bytes.begin(), bytes.end());
}

TEST_F(RequestsTest, APushedRecordMustExpandToOneObjectOf16MegabytesAtMost) {
  const auto rejection = [this](const std::string& block) {
    tav.PushData(block.c_str());
    const Lines complaints = Complaints();
    return complaints.size() == 1 ? complaints[0]
                                  : std::to_string(complaints.size()) + " complaints";
  };
  const std::string start = "warning: SM: PushData: rejecting data that is no record (";
  Start();
  const std::string most = "{\"rt\":[]" + std::string((16 << 20) - 9, ' ');
  EXPECT_EQ(rejection(Block(most + " }")), start + "GZip text beyond 16777216 bytes)");
  EXPECT_EQ(rejection(Block("[{}]")), start + "Not a JSON object)");
  EXPECT_EQ(rejection(Block("{\"a\":}")), start + "Bad JSON value)");
  EXPECT_EQ(rejection(Block(std::string(3000, '['))), start + "Bad JSON value)");
  std::string cut = Block("{}");
  cut.resize(cut.size() - 4);
  EXPECT_EQ(rejection(cut), start + "GZip inflate error -5)");
  EXPECT_EQ(rejection("!"), start + "Bad base-64 character)");
  EXPECT_EQ(rejection(Block(most + "}")), "0 complaints");
  EXPECT_EQ(tav.Commit(), 0);
  EXPECT_EQ(Records().size(), 2u);
}

}  // namespace
}  // namespace Tav::Testing
