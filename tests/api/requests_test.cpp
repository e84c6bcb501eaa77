#include <memory>

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

}  // namespace
}  // namespace Tav::Testing
