// When the machine is described, and which server gets the description.
#include <filesystem>
#include <memory>
#include <string>

#include "session/session_parts.h"
#include "storage/storage_views.h"

namespace Tav {
namespace {

using Testing::Gateway;
using Testing::SessionParts;
using Testing::Wmi;
using Testing::WmiScript;

constexpr char kMemory[] = "Physical Memory";  // a label that comes from WMI

class MachineDescriptionTest : public Testing::SessionManagerTest {
 protected:
  static EnvValue ClientStamp() {
    PersistentStorage storage;
    storage.OpenTimestamps(PersistentStorage::Access::Read);
    return PersistentStorage::ClientView(&storage).GetValue("LastClientQuery");
  }
  static int64_t Today() { return CurrentTime() / 86400; }
  void PutClientStampBefore(int64_t days) {
    folder_.Put("TsTavData",
                R"({"Products": [], "LastClientQuery": )" + std::to_string(Today() - days) + ".0}");
  }
  static WmiScript StuckWmi() {
    WmiScript script = Wmi("8589934592");
    script->stuck = true;
    return script;
  }
  // A run whose description is complete before it ends.
  void DescribeMachine(const char* memory) {
    SessionParts run(config_, Wmi(memory));
    EXPECT_TRUE(Testing::Eventually([&] {
      return !run.app.Machine().ClientPending() || run.app.Machine().FinishClientInfo(0);
    }));
    run.Terminate();
  }
  static std::string LastDescribed(const char* label) {
    return Gateway::ClientValue(Gateway::RecordCount() - 1, label);
  }
};

TEST_F(MachineDescriptionTest, ANewServerGetsTheStoredDescription) {
  std::filesystem::remove(folder_.Path("TsTavData"));
  DescribeMachine("8589934592");
  EXPECT_EQ(LastDescribed(kMemory), "8 GB");
  Run({"described"});
  EXPECT_EQ(LastDescribed(kMemory), "");
  // Not due for eight days; the hardware is not queried.
  Testing::SetEnvironment("TAV_GATEWAY", "TEST://");
  Run({"moved"});
  EXPECT_EQ(LastDescribed(kMemory), "8 GB");
  EXPECT_EQ(LastDescribed("OsArch"), "x86_64");
  EXPECT_EQ(LastDescribed("Endpoint"), "");
  Run({"known"});
  EXPECT_EQ(LastDescribed(kMemory), "");
}

TEST_F(MachineDescriptionTest, ANewServerGetsItsDescriptionAlthoughTheFirstRunWasKilled) {
  std::filesystem::remove(folder_.Path("TsTavData"));
  DescribeMachine("8589934592");
  PutClientStampBefore(8);
  {
    const WmiScript stuck = StuckWmi();
    SessionParts killed(config_, stuck, "TEST://");
    EXPECT_TRUE(killed.Send());
    stuck->release.Set();
  }
  EXPECT_EQ(LastDescribed(kMemory), "");
  Testing::SetEnvironment("TAV_GATEWAY", "TEST://");
  PutClientStampBefore(0);
  Run({});
  EXPECT_EQ(LastDescribed(kMemory), "8 GB");
}

TEST_F(MachineDescriptionTest, ADescriptionWithoutHardwareIsFollowedByAWholeOneTheNextDay) {
  std::filesystem::remove(folder_.Path("TsTavData"));
  DescribeMachine("8589934592");
  EXPECT_EQ(ClientStamp().number, static_cast<double>(Today()));

  // The system has changed, the hardware has not, and the run ends before WMI answers.
  PersistentStorage storage;
  storage.Open(PersistentStorage::Access::Update);
  PersistentStorage::ClientView(&storage).SetValue("OsVersion", "6.1");
  storage.CloseAndSave();
  PutClientStampBefore(8);
  const WmiScript stuck = StuckWmi();
  {
    SessionParts run(config_, stuck);
    EXPECT_EQ(ClientStamp().number, static_cast<double>(Today() - 8));  // nothing is complete yet
    run.Terminate();
  }
  stuck->release.Set();
  EXPECT_EQ(LastDescribed("OsArch"), "x86_64");
  EXPECT_EQ(LastDescribed(kMemory), "");
  EXPECT_EQ(ClientStamp().number, static_cast<double>(Today() - 7));
  const size_t records = Gateway::RecordCount();
  DescribeMachine("8589934592");  // the same day: nothing is due
  EXPECT_EQ(Gateway::RecordCount(), records);

  PutClientStampBefore(8);
  DescribeMachine("8589934592");
  EXPECT_EQ(LastDescribed(kMemory), "8 GB");
  EXPECT_EQ(ClientStamp().number, static_cast<double>(Today()));
}

}  // namespace
}  // namespace Tav
