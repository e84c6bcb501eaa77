// What the log contains.
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/identifiers.h"
#include "platform/machine.h"
#include "platform/process.h"
#include "platform/set_environment.h"
#include "support/table_fixture.h"
#include "util/format.h"

namespace Tav::Testing {
namespace {

class LogTest : public TableTest {
 protected:
  LogTest() {
    TakeLines();
    tav.SetMessageSink(TavSinkPointer(Receive));
  }

  static void TAV_CALL Receive(const char* line) {
    const std::lock_guard guard(lock_);
    lines_.emplace_back(line);
  }

  static Lines TakeLines() {
    const std::lock_guard guard(lock_);
    return std::exchange(lines_, {});
  }

 private:
  static inline std::mutex lock_;
  static inline Lines lines_;
};

TEST_F(LogTest, TextsOfTheHostCannotForgeALine) {
  const std::string forged = "\n2026-03-04T10:11:12.345Z error: forged\x1b[2J";
  tav.SetProductContext(("context" + forged).c_str());
  tav.SetProductComponentName(("component" + forged).c_str());
  tav.AddProductInfo(("key" + forged).c_str(), ("value" + forged).c_str());
  ASSERT_EQ(Initialize("Editor", "4\nerror: \xC2\x9B", ("4.2" + forged).c_str()), TAV_OK);
  tav.LogPlace(("place" + forged).c_str());
  tav.LogEvent(tav.NewEvent(("event" + forged).c_str()));
  tav.PushData(("data" + forged).c_str());
  EXPECT_EQ(tav.Commit(), 0);
  Stop();
  int escaped = 0;
  for (const std::string& line : TakeLines()) {
    escaped += line.find("\\x0a") != std::string::npos ? 1 : 0;
    EXPECT_EQ(line.find("\nerror: "), std::string::npos) << line;
    EXPECT_EQ(line.find("\n2026-"), std::string::npos) << line;
    EXPECT_EQ(line.find('\x1b'), std::string::npos) << line;
    EXPECT_EQ(line.find("\xC2\x9B"), std::string::npos) << line;
    // The lines of the library's own: the start banner and the end of the line of identifiers.
    const auto newLines = std::count(line.begin(), line.end(), '\n');
    EXPECT_TRUE(newLines == 0 || (newLines == 15 && line.starts_with("\n    ---")) ||
                (newLines == 1 && line.starts_with("SM: CustID: ") && line.ends_with('\n')))
        << line;
  }
  EXPECT_GE(escaped, 6);
}

TEST_F(LogTest, IdentifiersNeverAppear) {
  tav.SetCustomerIdentifier("customer-4711");
  Start();
  Stop();
  tav.SetCustomerIdentifier("customer-4711");
  tav.SetCustomerIdentifier(
      (std::string(250, ' ') + "customer-4711" + std::string(243, 'x')).c_str());
  tav.SetUserIdentifier("jane.doe@example.com");
  tav.SetUserIdentifier(("jane.doe@example.com" + std::string(300, 'x')).c_str());
  Start();
  char endpoint[64] = "";
  tav.GetEndpointIdentifier(endpoint, sizeof endpoint);
  Stop();
  std::vector<std::string> secrets{"customer-4711", "jane.doe", "7d078226a24dddc56302e329457e436e",
                                   "'" + Platform::UserName() + "'"};
  for (const Platform::Adapter& adapter : Platform::QueryAdapters().adapters) {
    secrets.push_back("Checking adapter " + adapter.name);
    if (!adapter.friendlyName.empty()) {
      secrets.push_back("Adapter name is " + adapter.friendlyName);
    }
    if (!adapter.address.empty()) {
      secrets.push_back(HexText(adapter.address.data(), adapter.address.size(), HexCase::Upper));
    }
  }
  const Lines lines = TakeLines();
  for (const std::string& secret : secrets) {
    for (const std::string& line : lines) {
      EXPECT_EQ(line.find(secret), std::string::npos) << secret << " in: " << line;
    }
  }
  const auto logged = [&lines](const std::string& text) {
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
      return line.find(text) != std::string::npos;
    });
  };
  EXPECT_TRUE(logged("UT: Hashing '[20 bytes]'..."));
  EXPECT_TRUE(logged("SM: CustID: [13 bytes], UserID: [32 bytes], ProdCtx: , ProdComp: "));
  EXPECT_TRUE(logged("bad input name: [320 bytes]"));
  EXPECT_TRUE(logged(endpoint)) << "the endpoint identifier is anonymous";
}

TEST_F(LogTest, PathsDoNotNameTheUser) {
  const std::string before = Platform::Environment("USERPROFILE").value_or("");
  const std::string profile = StorageFolder::Utf8(folder_.Base());
  SetEnvironment("USERPROFILE", profile.c_str());
  Start();
  tav.SetCacheDirectory(profile.c_str());
  Stop();
  SetEnvironment("USERPROFILE", before.empty() ? nullptr : before.c_str());
  HideProfileFolder();
  int hidden = 0;
  for (const std::string& line : TakeLines()) {
    EXPECT_EQ(line.find(profile), std::string::npos) << line;
    hidden += line.find("%USERPROFILE%") != std::string::npos ? 1 : 0;
  }
  EXPECT_GE(hidden, 2);
}

}  // namespace
}  // namespace Tav::Testing
