#include <gtest/gtest.h>

#include <string>

#include "platform/set_environment.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

class LifecycleTest : public TableTest {
 protected:
  int Initialize(const char* name, const char* version, int language = 3) {
    return tav.Initialize(name, version, "1.0.0", language);
  }
  // The product environment of the record that arrived last; null when it has none.
  static JsonPtr Environment() {
    const std::vector<JsonPtr> records = Records();
    return records.empty() ? JsonPtr()
                           : JsonPtr::Share(json_object_get(records.back().Get(), "pe"));
  }
  static std::string ProductValue(const char* key) {
    return std::string(JsonStringView(json_object_get(Environment().Get(), key)));
  }
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
    EXPECT_EQ(Initialize(c.name.c_str(), c.version.c_str()), c.status) << c.name << c.version;
    tav.Terminate();
  }
  ExpectLogged("error: Tav: TavInitialize called with a bad product/version");
  EXPECT_EQ(Initialize(nullptr, nullptr), TAV_BAD_PRODUCT);
}

TEST_F(LifecycleTest, TheQualifierJoinsTheVersionUntilTermination) {
  tav.SetVersionQualifier("beta");
  Start();
  Stop();
  Start();
  Stop();
  ASSERT_EQ(Records().size(), 2u);
  EXPECT_EQ(JsonStringView(json_object_get(Records()[0].Get(), "pv")), "4.2 - beta");
  EXPECT_EQ(JsonStringView(json_object_get(Records()[1].Get(), "pv")), "4.2");
}

TEST_F(LifecycleTest, ASecondInitializationChangesNothing) {
  Start();
  EXPECT_EQ(Initialize("Other", "2"), TAV_ALREADY_INITIALIZED);
  EXPECT_EQ(Complaints(), (Lines{"error: Tav: Oops, TavInitialize has already been called"}));
  Stop();
  EXPECT_EQ(JsonStringView(json_object_get(Records()[0].Get(), "pn")), "Editor");
}

TEST_F(LifecycleTest, WithoutLocalAppDataTheLibraryDoesNotStart) {
  for (const char* missing : {static_cast<const char*>(nullptr), ""}) {
    SetEnvironment("LOCALAPPDATA", missing);
    EXPECT_EQ(Initialize("Product", "1"), TAV_NO_LOCAL_APP_DATA);
  }
  ExpectLogged("error: TavInitialize: Environment variable 'LOCALAPPDATA' is not defined");
  EXPECT_EQ(tav.Commit(), 0);
}

TEST_F(LifecycleTest, StandardValuesDescribeTheProduct) {
  struct Case {
    int language;
    const char* locale;
  };
  // A version of its own for each, because what was sent before is not sent again.
  for (const Case& c : {Case{0, "NONE"}, Case{2, "de_DE"}, Case{14, "zh_TW"}}) {
    ASSERT_EQ(tav.Initialize("Product", c.locale, " full \xE9", c.language), TAV_OK);
    Stop();
    EXPECT_EQ(ProductValue("std-AppLanguage"), c.locale);
    EXPECT_EQ(ProductValue("std-FullVersion"), " full \xC3\xA9");
    EXPECT_EQ(ProductValue("std-OptOut"), "false");
  }
  for (const int unknown : {15, -1}) {
    ASSERT_EQ(Initialize("Product", std::to_string(unknown).c_str(), unknown), TAV_OK);
    Stop();
    ExpectLogged("error: Tav: Application language " + std::to_string(unknown) + " not supported");
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
  const JsonPtr environment = Environment();
  EXPECT_EQ(ProductValue("std-OptOut"), "true");
  EXPECT_EQ(json_object_size(environment.Get()), 3u);  // with std-Incremental and the time
  // The request does not outlive the termination.
  Start();
  Stop();
  EXPECT_EQ(ProductValue("std-OptOut"), "false");
}

TEST_F(LifecycleTest, CallsWithoutAManagerSayWhatTheyMiss) {
  tav.Suspend();
  tav.Resume();
  EXPECT_EQ(tav.Commit(), 0);
  tav.LogEvent(tav.NewEvent("early"));
  EXPECT_EQ(Complaints(),
            (Lines{"error: Tav: TavSuspend called with no manager defined",
                   "error: Tav: TavResume called with no manager defined",
                   "error: Tav: TavCommit called with no manager defined",
                   "error: Tav: TavLogEvent called with no manager defined. Event: early"}));
  tav.Terminate();
  ExpectLogged("TavTerminate called with no manager defined");
}

TEST_F(LifecycleTest, SuspendHoldsBackAndResumeLetsGo) {
  Start();
  tav.Suspend();
  tav.Resume();
  Stop();
  ExpectLogged("SM: Suspend");
  ExpectLogged("SM: Resume");
  ExpectLogged("SM: SuspendTerm");
}

TEST_F(LifecycleTest, AValueGivenEarlyIsKeptAndReplaced) {
  tav.AddProductInfo("Key", "first");
  tav.AddProductInfo("  Key ", "second");
  TavValue_s* const list = tav.NewListValue();
  tav.AddListValue(list, "b");
  tav.AddListValue(list, "a");
  tav.AddListValue(list, "b");
  tav.AddProductInfoValue("List", list);
  Start();
  Stop();
  EXPECT_EQ(ProductValue("Key"), "second");
  const JsonPtr environment = Environment();
  EXPECT_NE(json_object_get(environment.Get(), "List:a"), nullptr);
  EXPECT_NE(json_object_get(environment.Get(), "List:b"), nullptr);
}

}  // namespace
}  // namespace Tav::Testing
