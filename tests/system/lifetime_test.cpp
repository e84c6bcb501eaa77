// The ways in which the library ends: Terminate, the end of the process, and FreeLibrary while its
// thread is busy.
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "platform/process.h"
#include "platform/set_environment.h"
#include "system/host.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace Tav::Testing {
namespace {

using LifetimeTest = HostTest;

TEST_F(LifetimeTest, TheLibraryCanStartAgainAfterTerminate) {
  for (int run = 0; run < 3; ++run) {
    Initialize();
    EXPECT_EQ(tav_->Initialize("Other", "1.0", "", TAV_LANGUAGE_NONE), TAV_ALREADY_INITIALIZED);
    tav_->LogEvent(tav_->NewEvent("last"));
    Stop();
    Stop();
    EXPECT_EQ(TimesArrived("last"), static_cast<size_t>(run) + 1);
  }
  EXPECT_EQ(GatewayCount("sessions"), 3);
}

std::string Utf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

// The storage files of a folder, and the names of its cache files.
std::string StateIn(const std::filesystem::path& folder) {
  std::string state;
  for (const char* name : {"TavData", "TsTavData"}) {
    std::ifstream file(folder / name, std::ios::binary);
    state.append(std::istreambuf_iterator<char>(file), {});
  }
  std::error_code missing;
  for (const auto& entry : std::filesystem::directory_iterator(folder, missing)) {
    const std::string name = entry.path().filename().string();
    state += name.find("Cache_") != std::string::npos ? name.substr(0, name.find('_')) : "";
  }
  return state;
}

size_t Occurrences(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

// The first run's session thread is still at work when the second run starts, and its request hangs
// until the end.
TEST_F(LifetimeTest, EachRunKeepsItsFilesInItsOwnFolder) {
  // The library remembers its default folder as long as the process lives.
  static const std::filesystem::path local = Folder() / "local";
  const std::filesystem::path second = Folder() / "second";
  std::filesystem::create_directories(local);
  std::filesystem::create_directory(second);
  const std::string before = Platform::Environment("LOCALAPPDATA").value_or("");
  SetEnvironment("LOCALAPPDATA", Utf8(local).c_str());
  const auto run = [this](const char* product) {
    ASSERT_EQ(tav_->Initialize(product, "1.0", "1.0.0", TAV_LANGUAGE_EN_US), TAV_OK);
    tav_->LogEvent(tav_->NewEvent(product));
    Stop();
  };

  PutSettings(R"({"terminate_time":0.0})");
  GatewayPost("api/faults", R"({"kind":"hang","count":1})");
  Initialize();
  tav_->LogEvent(tav_->NewEvent("first"));
  EXPECT_TRUE(Eventually([] { return json_array_size(GatewayGet("api/faults").Get()) == 0; }));
  Stop();
  UseGateway(kNoServer);
  tav_->SetCacheDirectory(Utf8(second).c_str());
  run("Second.Product");
  run("Third.Product");
  EXPECT_TRUE(
      Eventually([this] { return StateIn(Folder()).find("\"LastActive\"") != std::string::npos; }));
  SetEnvironment("LOCALAPPDATA", before.c_str());

  const std::string third = StateIn(local / "Quendel" / "Tav");
  for (const auto& [state, owner] :
       {std::pair{StateIn(Folder()), "System.Test"}, std::pair{StateIn(second), "Second.Product"},
        std::pair{third, "Third.Product"}}) {
    for (const char* product : {"System.Test", "Second.Product", "Third.Product"}) {
      EXPECT_EQ(state.find(product) != std::string::npos, std::string(product) == owner)
          << product << " in the folder of " << owner;
    }
    EXPECT_EQ(Occurrences(state, "TavCache"), 1u) << "in the folder of " << owner;
  }
  ResetGateway();  // ends the request
}

#ifdef _WIN32

// On Windows only: a leak checker would rightly report it.
TEST_F(LifetimeTest, AProcessMayEndWithoutTerminate) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        Initialize();
        for (int i = 0; i < 1000; ++i) {
          tav_->LogEvent(tav_->NewEvent("unfinished"));
        }
        std::exit(7);
      },
      ::testing::ExitedWithCode(7), "");
}

TEST_F(LifetimeTest, TheModuleStaysMappedWhileItsThreadRuns) {
  const std::string path = ::testing::TempDir() + "tav_unloaded.dll";
  ASSERT_TRUE(CopyFileA(std::getenv("TAV_TEST_LIBRARY"), path.c_str(), FALSE));
  const HMODULE module = LoadLibraryA(path.c_str());
  ASSERT_NE(module, nullptr);
  const auto loader = reinterpret_cast<TavLoaderFunction>(
      reinterpret_cast<void*>(GetProcAddress(module, TAV_LOADER_NAME)));
  const TavEntryTable* const tav = loader(TAV_INTERFACE_VERSION);
  UseFolder(tav);
  ASSERT_EQ(tav->Initialize("Unloaded", "1.0", "1.0.0", TAV_LANGUAGE_EN_US), TAV_OK);
  GatewayPost("api/faults", R"({"kind":"hang","count":1})");
  tav->LogEvent(tav->NewEvent("stuck"));
  // A request that begins before Terminate may take longer than the terminate time.
  EXPECT_TRUE(Eventually([] { return json_array_size(GatewayGet("api/faults").Get()) == 0; }));
  tav->Terminate();
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_NE(GetModuleHandleA("tav_unloaded.dll"), nullptr);
  ResetGateway();
  // The request fails, so the thread ends, and with it the last reference to the module.
  EXPECT_TRUE(Eventually([] { return GetModuleHandleA("tav_unloaded.dll") == nullptr; }));
  DeleteFileA(path.c_str());
}

#endif

}  // namespace
}  // namespace Tav::Testing
