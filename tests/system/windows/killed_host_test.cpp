// Hosts that are killed while several of their threads report. The next run delivers their events.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "system/host.h"
#include "system/windows/killed_host.h"

namespace Tav::Testing {
namespace {

constexpr const char* kKills[] = {"self", "outside", "system"};

// The folder has a name that needs no conversion, because it is passed on a command line.
class KilledHostTest : public HostTest {
 protected:
  KilledHostTest() {
    section_ = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                  sizeof(BlastMemory), name_.c_str());
    memory_ = static_cast<BlastMemory*>(MapViewOfFile(section_, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    // Records are small, so that few events may arrive twice.
    PutSettings(R"({"max_record_size":9000.0,"send_threshold":1.0})");
    std::filesystem::remove_all(plainFolder_);
    std::filesystem::create_directories(plainFolder_);
    for (const char* const file : {"TavData", "TsTavData"}) {
      std::filesystem::copy_file(Folder() / file, plainFolder_ + '/' + file);
    }
  }
  ~KilledHostTest() override {
    UnmapViewOfFile(memory_);
    CloseHandle(section_);
    std::error_code ignored;
    std::filesystem::remove_all(plainFolder_, ignored);
  }

  // Runs a host until it has been killed; from outside, when `records` more have arrived.
  void RunHost(const std::string& kind, const std::string& prefix, int moment, int records) {
    const int64_t arrived = GatewayCount("records");
    for (std::atomic<int>& accepted : memory_->accepted) {
      accepted = 0;
    }
    memory_->isReady = 0;
    std::string command = "\"" TAV_KILLED_HOST "\" " + kind + " \"" +
                          std::getenv("TAV_TEST_LIBRARY") + "\" \"" + plainFolder_ + "\" " +
                          prefix + ' ' + std::to_string(moment) + ' ' + name_;
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    ASSERT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &startup, &process))
        << GetLastError();
    if (kind == "outside") {
      EXPECT_TRUE(Eventually(
          [&] { return memory_->isReady != 0 && GatewayCount("records") >= arrived + records; }));
      TerminateProcess(process.hProcess, kKilled);
    }
    constexpr DWORD kBound = 60000;  // enough for a busy machine
    EXPECT_EQ(WaitForSingleObject(process.hProcess, kBound), WAIT_OBJECT_0);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    EXPECT_NE(code, 2u) << "the host could not start";
    EXPECT_NE(code, 3u) << "the host was not killed";
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
  }

  // A run that delivers what it finds. The system may take a while to close the files of a process
  // that has ended.
  void Deliver() const {
    tav_->SetCacheDirectory(plainFolder_.c_str());
    ASSERT_EQ(tav_->Initialize("System.Test", "1.0", "1.0.0", TAV_LANGUAGE_EN_US), TAV_OK);
    EXPECT_TRUE(Eventually([&] { return tav_->Commit() == 0 && CountFiles() <= 1; }));
    tav_->Terminate();
    EXPECT_EQ(CountFiles(), 0);
  }
  // Of journals and the cache. A run has one journal.
  int CountFiles() const {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(plainFolder_)) {
      const std::string name = entry.path().filename().string();
      count += name.starts_with("TavJournal_") || name.starts_with("TavCache_") ? 1 : 0;
    }
    return count;
  }

  // Each event that was accepted has arrived once, or twice if it was in a record in flight. The
  // kill may also have hit a LogEvent that had not returned.
  void CheckArrivals(const std::string& prefix) {
    arrivals_.Collect();
    for (int thread = 0; thread < kBlastThreads; ++thread) {
      const std::string name = prefix + '.' + std::to_string(thread) + '.';
      const int accepted = memory_->accepted[thread];
      for (int serial = 0; serial < accepted; ++serial) {
        const int times = arrivals_.Times(name + std::to_string(serial));
        EXPECT_TRUE(times == 1 || times == 2) << name << serial << " arrived " << times << " times";
        twice_ += times == 2 ? 1 : 0;
      }
      accepted_ += accepted;
      EXPECT_LE(arrivals_.Times(name + std::to_string(accepted)), 2);
      EXPECT_EQ(arrivals_.Times(name + std::to_string(accepted + 1)), 0);
    }
  }

  const std::string name_ = "tav_killed_" + std::to_string(GetCurrentProcessId());
  const std::string plainFolder_ = ::testing::TempDir() + name_;
  HANDLE section_ = nullptr;
  BlastMemory* memory_ = nullptr;
  Arrivals arrivals_;
  int accepted_ = 0;
  int twice_ = 0;
};

TEST_F(KilledHostTest, LosesNothing) {
  const char* const wanted = std::getenv("TAV_TEST_KILLS");
  const int kills = wanted == nullptr ? 6 : std::atoi(wanted);
  std::mt19937 random(20);
  for (int kill = 0; kill < kills && !HasFailure(); ++kill) {
    const char* const kind = kKills[kill % 3];
    const std::string prefix = "kill" + std::to_string(kill);
    const int moment = 1 + static_cast<int>(random() % kBlastEvents);
    SCOPED_TRACE(prefix + ", " + kind + ", " + std::to_string(moment));
    RunHost(kind, prefix, moment, 1 + static_cast<int>(random() % 8));
    Deliver();
    CheckArrivals(prefix);
  }
  EXPECT_EQ(GatewayCount("bad_records"), 0);
  std::printf("%d kills: %d events accepted, %zu arrived, %d of them twice\n", kills, accepted_,
              arrivals_.All().size(), twice_);
}

}  // namespace
}  // namespace Tav::Testing
