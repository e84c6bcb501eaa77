// What the machine that runs the tests tells about itself.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "machine/client_info.h"
#include "machine/endpoint.h"
#include "platform/machine.h"
#include "platform/wmi.h"
#include "support/storage_folder.h"
#include "util/text.h"

namespace Tav {
namespace {

// The service behind the answers is started by whoever asks first; under Wine that hangs for most
// of a minute now and then. Whoever asks again is answered at once.
ClientEnv Describe() {
  for (int attempt = 0; attempt < 3; ++attempt) {
    const Testing::StorageFolder folder;
    ClientInfo info;
    info.Collect();
    if (info.Finish(30000)) {
      return info.GetClientEnv();
    }
  }
  return {};
}

TEST(ClientMachine, DescribesItself) {
  const Testing::CapturedLog log;
  const ClientEnv env = Describe();
  for (const auto& [key, value] : env) {
    std::printf("%s: %s\n", key.c_str(), value.c_str());
    EXPECT_TRUE(IsUtf8(key) && IsUtf8(value)) << key;
    EXPECT_FALSE(value.empty()) << key;
  }
  EXPECT_EQ(log.Find("Failed to query WMI"), "");
  for (const char* const key :
       {"OsVersion", "OsLocale", "Number of Monitors", "Primary Monitor Resolution",
        "Monitors.Monitor1 Resolution", "Number of Processors", "Number of Logical Processors",
        "Physical Memory", "Processors.Processor1 Name", "Processors.Processor1 Number of Cores",
        "Video Cards.Video Card1 Name"}) {
    EXPECT_TRUE(env.contains(key)) << key;
  }
}

// The process ends right after this case, with the thread somewhere inside the system.
TEST(ClientMachine, MayLeaveTheSystemsAnswerBehind) {
  const Testing::CapturedLog log;
  const Testing::StorageFolder folder;
  ClientInfo info;
  info.Collect();
  info.Abandon();
  EXPECT_FALSE(info.Pending());
  EXPECT_TRUE(info.GetClientEnv().contains("OsVersion"));
}

TEST(ClientMachine, HasAUserAndAdaptersOrSaysWhyNot) {
  EXPECT_NE(Platform::UserName(), "");
  EXPECT_EQ(Platform::UserLanguage().value_or("").size(), 2U);
  const Platform::AdapterList list = Platform::QueryAdapters();
  EXPECT_EQ(list.failedStep == Platform::AdapterStep::None, list.status == 0);
  for (const Platform::Adapter& adapter : list.adapters) {
    std::printf("%s: %s, %zu bytes\n", adapter.name.c_str(), adapter.friendlyName.c_str(),
                adapter.address.size());
  }
  std::printf("address: %s\n", ChooseHardwareAddress(list.adapters).c_str());
}

// Not every system has every class or property.
TEST(ClientMachine, AQuestionWithoutAnAnswerIsHarmless) {
  const std::unique_ptr<Platform::WmiSource> source = Platform::CreateWmiSource();
  ASSERT_EQ(source->Open().failedStep, Platform::WmiStep::None);
  if (source->Execute("SELECT Name FROM Win32_NoSuchClass") >= 0) {
    const Platform::WmiNextResult next = source->Next(5000);
    EXPECT_TRUE(next.status < 0 || next.count == 0);
  }
  ASSERT_GE(source->Execute("SELECT Name FROM Win32_Processor"), 0);
  const Platform::WmiNextResult next = source->Next(5000);
  ASSERT_EQ(next.count, 1U);
  Platform::WmiValue value;
  EXPECT_LT(source->Get("NoSuchProperty", value), 0);
  EXPECT_EQ(source->Get("Name", value), 0);
  EXPECT_NE(value.text, "");
  // An earlier query's row is gone, and its service is still usable.
  ASSERT_GE(source->Execute("SELECT TotalPhysicalMemory FROM Win32_ComputerSystem"), 0);
  ASSERT_EQ(source->Next(5000).count, 1U);
  EXPECT_EQ(source->Get("TotalPhysicalMemory", value), 0);
  EXPECT_EQ(value.text.find_first_not_of("0123456789"), std::string::npos);
}

}  // namespace
}  // namespace Tav
