#include <gtest/gtest.h>

#include <string>

#include "platform/set_environment.h"
#include "support/records.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

class LifecycleTest : public TableTest {
 protected:
  // The product environment of the record that arrived last; null when it has none.
  static JsonPtr Environment() {
    const std::vector<JsonPtr> records = Records();
    return records.empty() ? JsonPtr()
                           : JsonPtr::Share(json_object_get(records.back().Get(), "pe"));
  }
  static std::string ProductValue(const char* key) { return TextAt(Environment().Get(), key); }
};

TEST_F(LifecycleTest, OnlyWellFormedProductsAreAccepted) {
  const std::string longest = "Abcdefgh.ijklmnop.qrstuvwx.12345";
  ASSERT_EQ(longest.size(), 32u);
  struct Case {
    std::string name;
    std::string version;
    std::string qualifier;
    int status;
  };
  for (const Case& c : {
           Case{longest, std::string(32, 'v'), "", TAV_OK},
           Case{"  Trimmed\t", " 1.0 ", "", TAV_OK},
           Case{"Product", "", "", TAV_OK},
           Case{longest + "x", "1", "", TAV_BAD_PRODUCT},
           Case{"", "1", "", TAV_BAD_PRODUCT},
           Case{"My-Product", "1", "", TAV_BAD_PRODUCT},
           Case{"M\xC3\xBC", "1", "", TAV_BAD_PRODUCT},
           Case{"Product", std::string(33, 'v'), "", TAV_BAD_PRODUCT},
           Case{"Product", std::string(26, 'v'), "abc", TAV_OK},
           Case{"Product", std::string(28, 'v'), "abc", TAV_BAD_PRODUCT},
       }) {
    tav.SetVersionQualifier(c.qualifier.c_str());
    EXPECT_EQ(Initialize(c.name.c_str(), c.version.c_str(), ""), c.status) << c.name << c.version;
    Stop();
  }
  ExpectLogged("error: Tav: TavInitialize called with a bad product/version");
  ExpectLogged(
      "warning: Tav: The product name 'My-Product' is refused: it must be 1 to 32 letters, digits "
      "and "
      "dots");
  ExpectLogged("warning: Tav: The product version '" + std::string(28, 'v') +
               " - abc' is refused: it has 34 bytes, at most 32 are allowed");
  EXPECT_EQ(Initialize(nullptr, nullptr, nullptr), TAV_BAD_PRODUCT);
}

TEST_F(LifecycleTest, TheQualifierJoinsTheVersionUntilTermination) {
  tav.SetVersionQualifier("beta");
  Start();
  Stop();
  Start();
  Stop();
  const std::vector<JsonPtr> records = Records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(TextAt(records[0].Get(), "pv"), "4.2 - beta");
  EXPECT_EQ(TextAt(records[1].Get(), "pv"), "4.2");
}

TEST_F(LifecycleTest, ASecondInitializationChangesNothing) {
  Start();
  EXPECT_EQ(Initialize("Other", "2", ""), TAV_ALREADY_INITIALIZED);
  EXPECT_EQ(Complaints(), (Lines{"error: Tav: Oops, TavInitialize has already been called"}));
  Stop();
  EXPECT_EQ(TextAt(Records().at(0).Get(), "pn"), "Editor");
}

TEST_F(LifecycleTest, WithoutLocalAppDataTheLibraryDoesNotStart) {
  for (const char* missing : {static_cast<const char*>(nullptr), ""}) {
    SetEnvironment("LOCALAPPDATA", missing);
    EXPECT_EQ(Initialize("Product", "1", ""), TAV_NO_LOCAL_APP_DATA);
  }
  ExpectLogged("error: TavInitialize: Environment variable 'LOCALAPPDATA' is not defined");
  EXPECT_EQ(tav.Commit(), 0);
}

TEST_F(LifecycleTest, StandardValuesDescribeTheProduct) {
  struct Case {
    int language;
    const char* locale;
  };
  // A version of its own for each, because known values are not sent again.
  for (const Case& c : {Case{0, "NONE"}, Case{2, "de_DE"}, Case{14, "zh_TW"}}) {
    ASSERT_EQ(Initialize("Product", c.locale, " full \xE9", c.language), TAV_OK);
    Stop();
    EXPECT_EQ(ProductValue("std-AppLanguage"), c.locale);
    EXPECT_EQ(ProductValue("std-FullVersion"), " full \xC3\xA9");
    EXPECT_EQ(ProductValue("std-OptOut"), "false");
  }
  for (const int unknown : {15, -1}) {
    const std::string number = std::to_string(unknown);
    ASSERT_EQ(Initialize("Product", number.c_str(), "", unknown), TAV_OK);
    Stop();
    ExpectLogged("error: Tav: Application language " + number + " not supported");
    EXPECT_EQ(json_object_get(Environment().Get(), "std-AppLanguage"), nullptr);
  }
}

TEST_F(LifecycleTest, OptingOutDiscardsEverythingButTheOptOut) {
  tav.AddProductInfo("Secret", "x");
  tav.OptOut();
  Start();
  tav.LogEvent(tav.NewEvent("secret"));
  EXPECT_EQ(tav.Commit(), 0);
  Stop();
  ASSERT_EQ(Records().size(), 1u);
  EXPECT_TRUE(Events().empty());
  EXPECT_EQ(ProductValue("std-OptOut"), "true");
  EXPECT_EQ(json_object_size(Environment().Get()), 3u);  // with std-Incremental and the time
  // The request does not outlive the termination.
  Start();
  Stop();
  EXPECT_EQ(ProductValue("std-OptOut"), "false");
}

TEST_F(LifecycleTest, WhileNotRunningCallsReportItAndKeepNothing) {
  TavSession_s* const session = tav.SessionBegin();
  tav.LogPlace("place");
  tav.SessionLogPlace(session, "place");
  tav.LogIdle();
  tav.SessionLogIdle(session);
  tav.IncrementCounter("global", "open");
  tav.FlushAggregates();
  tav.SessionIncrementCounter(session, "flushed", "open");
  tav.SessionFlushAggregates(session);
  tav.SessionIncrementCounter(session, "ended", "open");
  tav.SessionEnd(session);
  tav.LogEvent(tav.NewEvent("early"));
  tav.Suspend();
  tav.Resume();
  EXPECT_EQ(tav.Commit(), 0);
  const std::string logEvent = "error: Tav: TavLogEvent called with no manager defined. Event: ";
  EXPECT_EQ(
      Complaints(),
      (Lines{"error: Tav: TavSessionBegin called with no manager defined",
             "error: Tav: TavLogPlace called with no manager defined",
             "error: Tav: TavSessionLogPlace called with no manager defined",
             "error: Tav: TavLogIdle called with no manager defined",
             "error: Tav: TavSessionLogIdle called with no session defined", logEvent + "global",
             logEvent + "flushed", "error: Tav: TavSessionEnd called with no manager defined",
             logEvent + "early", "error: Tav: TavSuspend called with no manager defined",
             "error: Tav: TavResume called with no manager defined",
             "error: Tav: TavCommit called with no manager defined"}));
  Stop();
  ExpectLogged("TavTerminate called with no manager defined");
  Start();
  Stop();
  EXPECT_TRUE(Events().empty());
}

}  // namespace
}  // namespace Tav::Testing
