// Hosts that are killed at random while several of their threads report.
#include <sys/mount.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "system/posix/blast_counters.h"
#include "system/posix/durability_fixture.h"

namespace Tav::Testing {
namespace {

constexpr int kThreads = 4;

// A number in the environment makes a long run of it.
int NumberOfKills(int usual) {
  const char* const wanted = std::getenv("TAV_TEST_KILLS");
  return wanted != nullptr ? std::atoi(wanted) : usual;
}

class RandomKillsTest : public HostProcessTest {
 protected:
  // Records are small, so that few events may arrive twice.
  RandomKillsTest() { PutSettings(R"({"max_record_size":9000.0,"send_threshold":1.0})"); }

  int Random(int end) { return static_cast<int>(random_() % static_cast<unsigned>(end)); }

  std::string CountersOf(const std::string& prefix) const {
    return (Base() / (prefix + ".counters")).string();
  }

  // The threads of the host report `count` events each, and it is killed when one of them has
  // reported `moment`. The others are somewhere in their work then.
  void BlastAndKill(HostProcess& host, const std::string& prefix, int count, int moment) {
    const BlastCounters counters(CountersOf(prefix));
    host.Send("blast " + std::to_string(kThreads) + ' ' + std::to_string(count) + " 50 " +
              CountersOf(prefix) + ' ' + std::to_string(moment));
    EXPECT_EQ(host.Prints("blasted"), moment == 0);
    host.Kill();
    for (int thread = 0; thread < kThreads; ++thread) {
      blasts_.push_back({prefix + '.' + std::to_string(thread) + '.', counters.Get(thread)});
    }
  }

  // Each event that was accepted has arrived once, or once more for each kill that may have hit the
  // record in flight. A kill may also have hit a LogEvent that had not returned.
  void CheckArrivals(int kills = 1) {
    DeliverCache();
    arrivals_.Collect();
    for (const Blast& blast : blasts_) {
      for (int64_t serial = 0; serial < blast.accepted; ++serial) {
        const int times = arrivals_.Times(blast.prefix + std::to_string(serial));
        EXPECT_TRUE(times >= 1 && times <= 1 + kills)
            << blast.prefix << serial << " of " << blast.accepted << " arrived " << times
            << " times";
        twice_ += times > 1 ? 1 : 0;
      }
      accepted_ += blast.accepted;
      EXPECT_LE(arrivals_.Times(blast.prefix + std::to_string(blast.accepted)), 1 + kills);
      EXPECT_EQ(arrivals_.Times(blast.prefix + std::to_string(blast.accepted + 1)), 0);
    }
    blasts_.clear();
  }

  void Report(int kills) const {
    EXPECT_EQ(GatewayCount("bad_records"), 0);
    std::printf("%d kills: %lld events accepted, %zu arrived, %d of them twice\n", kills,
                static_cast<long long>(accepted_), arrivals_.All().size(), twice_);
  }

  struct Blast {
    std::string prefix;
    int64_t accepted;
  };

  std::mt19937 random_{20};
  std::vector<Blast> blasts_;
  Arrivals arrivals_;
  int64_t accepted_ = 0;
  int twice_ = 0;
};

// Every other host sends meanwhile; the others leave everything to recovery.
TEST_F(RandomKillsTest, LoseNothing) {
  const int kills = NumberOfKills(12);
  constexpr int kEvents = 1000;
  for (int kill = 0; kill < kills && !HasFailure(); ++kill) {
    SCOPED_TRACE("kill " + std::to_string(kill));
    const std::string prefix = "blast" + std::to_string(kill);
    HostProcess host(Host(prefix));
    host.Send(kill % 2 == 0 ? "start\nsync" : "never_send\nstart\nsync");
    host.Await("synced");
    BlastAndKill(host, prefix, kEvents, 1 + Random(kEvents));
    CheckArrivals();
  }
  Report(kills);
}

// Fewer than fit into the 8 MiB that stand ready.
TEST_F(RandomKillsTest, ABurstIsCompleteAtItsEnd) {
  constexpr int kEvents = 5000;
  HostProcess host(Host("burst"));
  host.Send("start\nsync");
  host.Await("synced");
  BlastAndKill(host, "burst", kEvents, 0);
  CheckArrivals();
  Report(1);
  EXPECT_EQ(accepted_, kThreads * kEvents);
}

// Hosts that start together take the journals of dead ones from each other, and are killed while
// they do. They do not send.
TEST_F(RandomKillsTest, HostsThatFightForJournalsLoseNothing) {
  constexpr int kDead = 3;
  constexpr int kFighters = 4;
  const int rounds = NumberOfKills(12) / kFighters;
  for (int round = 0; round < rounds && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    const std::string prefix = "round" + std::to_string(round) + '.';
    for (int i = 0; i < kDead; ++i) {
      const std::string dead = prefix + "dead" + std::to_string(i);
      HostProcess host(Host(dead));
      host.Send("never_send\nstart\nsync");
      host.Await("synced");
      BlastAndKill(host, dead, 300, 200);
    }
    std::vector<std::unique_ptr<HostProcess>> fighters;
    for (int i = 0; i < kFighters; ++i) {
      HostSettings settings = Host(prefix + "fighter" + std::to_string(i));
      settings.logLevel = "TRACE";
      fighters.push_back(std::make_unique<HostProcess>(settings));
      fighters.back()->Send("die " + std::to_string(1 + Random(150)) +
                            "\nnever_send\nstart\nsync\nrecovered " + Storage().string());
    }
    for (const auto& fighter : fighters) {
      fighter->Prints("synced");
    }
    const size_t last = static_cast<size_t>(Random(kFighters));
    for (size_t i = 0; i < kFighters; ++i) {
      fighters[(last + i) % kFighters]->Kill();
    }
    // Each of them, and each dead host but the first, may have stored the same record again.
    CheckArrivals(kDead + kFighters);
  }
  Report(rounds * (kDead + kFighters));
}

// A disk of its own for the folder.
class KillsOnASmallDiskTest : public RandomKillsTest {
 protected:
  void SetUp() override {
    if (!Mount(0, "size=24m")) {
      GTEST_SKIP() << "cannot mount a small file system: " << std::strerror(errno);
    }
    mounted_ = true;
    std::filesystem::create_directories(Storage());
    PutSettings(R"({"max_record_size":9000.0})");
  }
  void TearDown() override {
    if (mounted_) {
      EXPECT_EQ(umount2(Base().c_str(), MNT_DETACH), 0);
    }
  }

  bool Mount(unsigned long flags, const char* options) const {
    return mount("tmpfs", Base().c_str(), "tmpfs", flags, options) == 0;
  }

  void LeaveDeadRun() {
    HostProcess host(Host("dead"));
    host.Send("never_send\nstart\nsync");
    host.Await("synced");
    BlastAndKill(host, "dead", 300, 250);
    ASSERT_EQ(Journals().size(), 1u);
  }

  // Hosts find the journal, and are killed when they have logged `moment`.
  void KillAtRecovery(const char* moment) const {
    for (int i = 0; i < 3; ++i) {
      HostSettings settings = HostWithoutGateway("host" + std::to_string(i));
      settings.logLevel = "DEBUG";
      HostProcess host(settings);
      host.Send("never_send\nstart\nsync");
      host.Await(moment);
      host.Kill();
    }
  }

 private:
  bool mounted_ = false;
};

TEST_F(KillsOnASmallDiskTest, RecoveryWaitsUntilTheDiskHasSpace) {
  LeaveDeadRun();
  const std::filesystem::path filler = Base() / "filler";
  {
    std::ofstream file(filler, std::ios::binary);
    const std::string piece(65536, 'x');
    while (file.write(piece.data(), std::ssize(piece)).flush()) {
    }
  }
  KillAtRecovery("warning: CM: Cannot write to cache file");
  std::filesystem::remove(filler);
  CheckArrivals();
  EXPECT_EQ(twice_, 0);
}

TEST_F(KillsOnASmallDiskTest, RecoveryWaitsUntilTheFolderCanBeWritten) {
  LeaveDeadRun();
  ASSERT_TRUE(Mount(MS_REMOUNT | MS_RDONLY, ""));
  KillAtRecovery("Events are kept in memory only");
  KillAtRecovery("synced");
  ASSERT_TRUE(Mount(MS_REMOUNT, ""));
  CheckArrivals();
  EXPECT_EQ(twice_, 0);
}

// What does not fit into the file is in memory and dies with the process; the rest must arrive.
TEST_F(KillsOnASmallDiskTest, ABurstBeyondTheDiskKeepsItsBeginning) {
  HostProcess host(Host("burst"));
  host.Send("never_send\nstart\nsync");
  host.Await("synced");
  const BlastCounters counters(CountersOf("burst") + " 0");
  host.Send("blast 1 600 60000 " + CountersOf("burst") + " 0");
  host.Await("blasted");
  host.Kill();
  ASSERT_TRUE(Mount(MS_REMOUNT, "size=100m"));
  DeliverCache();
  arrivals_.Collect();
  int arrived = 0;
  while (arrivals_.Times("burst.0." + std::to_string(arrived)) == 1) {
    ++arrived;
  }
  EXPECT_GE(arrived, 130) << "8 MiB stood ready";
  std::printf("%d of 600 large events arrived\n", arrived);
}

// What cannot be built and stored in time at the end stays in the journal.
TEST_F(RandomKillsTest, ALongQueueAtTheEndIsDeliveredByTheNextRun) {
  const char* const wanted = std::getenv("TAV_TEST_QUEUE");
  const int count = wanted != nullptr ? std::atoi(wanted) : 10000;  // of each thread
  PutSettings(R"({"terminate_time":3.0,"flush_time":1000.0,"send_threshold":100000000.0})");
  HostSettings settings = Host("queue");
  settings.gateway = "http://127.0.0.1:9";  // where nobody listens
  HostProcess host(settings);
  host.Send("start\nsync");
  host.Await("synced");
  const BlastCounters counters(CountersOf("queue"));
  host.Send("blast " + std::to_string(kThreads) + ' ' + std::to_string(count) + " 50 " +
            CountersOf("queue") + " 0\nterminate");
  const std::string terminated = host.Await("terminated ");
  host.Finish();
  std::printf("%d events: %s ms; journals left: %zu\n", kThreads * count, terminated.c_str(),
              Journals().size());
  for (int thread = 0; thread < kThreads; ++thread) {
    blasts_.push_back({"queue." + std::to_string(thread) + '.', count});
  }
  CheckArrivals();
  EXPECT_EQ(twice_, 0);
}

}  // namespace
}  // namespace Tav::Testing
