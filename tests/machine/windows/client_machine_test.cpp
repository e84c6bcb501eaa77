// The description that this machine gives of itself.
#include "machine/client_info.h"
#include "platform/clock.h"
#include "storage/storage_fixture.h"
#include "util/text.h"

namespace Tav {
namespace {

using namespace Testing;
using ClientMachineTest = StorageTest;

// The first row of a query, if there is one.
Platform::WmiNextResult FirstRow(Platform::WmiSource& source, const char* query) {
  Platform::WmiNextResult next;
  if (source.Execute(query) >= 0) {
    const int64_t end = Platform::MonotonicMilliseconds() + 60000;
    do {
      next = source.Next(1000);
    } while (next.timedOut && Platform::MonotonicMilliseconds() < end);
  }
  return next;
}

// Under Wine the first query of a prefix sometimes hangs for most of a minute while it starts the
// service; later ones are answered at once.
TEST_F(ClientMachineTest, DescribesItself) {
  ClientEnv env;
  for (int attempt = 0; attempt < 3 && env.empty(); ++attempt) {
    folder_.Put("TsTavData", "");
    ClientInfo info;
    info.Collect();
    info.Finish(30000);
    env = info.GetClientEnv();
  }
  for (const auto& [key, value] : env) {
    EXPECT_TRUE(IsUtf8(key) && IsUtf8(value)) << key;
    EXPECT_FALSE(value.empty()) << key;
  }
  EXPECT_EQ(log_.Find("Failed to query WMI"), "");
  for (const char* const key :
       {"OsVersion", "OsLocale", "Number of Monitors", "Primary Monitor Resolution",
        "Monitors.Monitor1 Resolution", "Number of Processors", "Number of Logical Processors",
        "Physical Memory", "Processors.Processor1 Name", "Processors.Processor1 Number of Cores",
        "Video Cards.Video Card1 Name"}) {
    EXPECT_TRUE(env.contains(key)) << key;
  }
}

// The process ends right after this case, while the thread may be inside a system call.
TEST_F(ClientMachineTest, MayAbandonARunningQuery) {
  ClientInfo info;
  info.Collect();
  info.Abandon();
  EXPECT_FALSE(info.Pending());
  EXPECT_TRUE(info.GetClientEnv().contains("OsVersion"));
}

// Not every system has every class or property.
TEST_F(ClientMachineTest, AnUnknownClassOrPropertyIsHarmless) {
  const std::unique_ptr<Platform::WmiSource> source = Platform::CreateWmiSource();
  ASSERT_EQ(source->Open().failedStep, Platform::WmiStep::None);
  EXPECT_EQ(FirstRow(*source, "SELECT Name FROM Win32_NoSuchClass").count, 0U);
  ASSERT_EQ(FirstRow(*source, "SELECT Name FROM Win32_Processor").count, 1U);
  Platform::WmiValue value;
  EXPECT_LT(source->Get("NoSuchProperty", value), 0);
  EXPECT_EQ(source->Get("Name", value), 0);
  EXPECT_NE(value.text, "");
  // The next query replaces the row.
  ASSERT_EQ(FirstRow(*source, "SELECT TotalPhysicalMemory FROM Win32_ComputerSystem").count, 1U);
  EXPECT_EQ(source->Get("TotalPhysicalMemory", value), 0);
  EXPECT_EQ(value.text.find_first_not_of("0123456789"), std::string::npos);
}

}  // namespace
}  // namespace Tav
