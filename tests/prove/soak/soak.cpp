// Four hosts of one product share a storage folder while everything around them changes: three of
// them are killed or terminated at random moments and replaced by hosts of another version with
// another wall clock, and the gateway is killed or ended and started again. The fourth runs all the
// time; its memory, files and threads must not grow.
//
// Usage: soak SECONDS GATEWAY HOST FOLDER
// In the end every event that a host had accepted must be in the gateway's store, and nothing else
// but an event that was being reported when its host was killed. Prints the ledger; exit status 1
// if it does not balance.
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "prove/cells/child_process.h"
#include "prove/soak/footprint.h"
#include "system/posix/blast_counters.h"

namespace {

namespace fs = std::filesystem;
using Prove::ChildProcess;
using Prove::Footprint;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kHosts = 4;
constexpr int kThreads = 2;  // of a host
const std::string kVersions[] = {"1.0", "1.1", "2.0"};
// Right; an hour less than a day off; at 1970 and at 2100, which no file's time can mean.
constexpr std::int64_t kShifts[] = {0, 82'800, -82'800, -1'790'000'000, 2'320'000'000};
constexpr std::int64_t kMemorySlack = 8 << 20;
constexpr std::int64_t kSlack = 4;  // files, threads
constexpr std::chrono::minutes kMaxEnd{3};
constexpr int kSignalled = 128;
const std::vector<std::string> kNothing;     // added to the environment
constexpr std::chrono::minutes kLongRun{5};  // a shorter one says nothing about growth

class Soak {
 public:
  Soak(std::string gateway, std::string host, fs::path work)
      : gatewayProgram_(std::move(gateway)), hostProgram_(std::move(host)), work_(std::move(work)) {
    fs::create_directories(Folder());
    StartGateway("0");
    std::ifstream(work_ / "port") >> port_;
    setenv("TAV_GATEWAY", ("http://127.0.0.1:" + port_ + "/").c_str(), 1);
    setenv("TAV_CONFIGURATOR", "null://", 1);
  }

  void Run(std::chrono::seconds duration) {
    const Clock::time_point begin = Clock::now();
    const Clock::time_point end = begin + duration;
    std::vector<Slot> slots(kHosts);
    for (Slot& slot : slots) {
      Fill(slot);
    }
    slots[0].end = end;
    Clock::time_point nextGateway = Clock::now() + Between(2000, 15'000);
    Clock::time_point nextFootprint = Clock::now() + milliseconds(5000);
    while (Clock::now() < end) {
      std::this_thread::sleep_for(milliseconds(20));
      for (Slot& slot : slots) {
        if (const std::optional<int> status = slot.process->Wait(milliseconds(0))) {
          throw std::runtime_error("host " + slot.name +
                                   " ended by itself: " + std::to_string(*status));
        }
        if (Clock::now() >= slot.end && Clock::now() < end) {
          Empty(slot, random_() % 10 < 7 ? SIGKILL : SIGTERM);
          Fill(slot);
        }
      }
      if (Clock::now() >= nextGateway) {
        RestartGateway();
        nextGateway = Clock::now() + Between(2000, 15'000);
      }
      if (Clock::now() >= nextFootprint) {
        const Footprint now(slots[0].process->Id());
        (Clock::now() - begin < duration / 2 ? early_ : late_).Raise(now);
        nextFootprint = Clock::now() + milliseconds(5000);
      }
    }
    for (Slot& slot : slots) {
      Empty(slot, SIGTERM);
    }
    isFlat_ = duration < kLongRun ||
              (late_.memory <= early_.memory + kMemorySlack &&
               late_.files <= early_.files + kSlack && late_.threads <= early_.threads + kSlack);
  }

  // Delivers what is left and compares. Returns whether everything is as it should be.
  bool Balance() {
    for (const std::string& version : kVersions) {
      const std::vector<std::string> command = {hostProgram_, "drain",        version,
                                                Folder(),     work_ / "none", "0"};
      if (ChildProcess(command, kNothing, work_ / "log").Wait(kMaxEnd) != 0) {
        std::printf("not everything was sent\n");
        return false;
      }
    }
    End(*gateway_, SIGTERM);
    bool isGood = isFlat_;
    for (const auto& entry : fs::directory_iterator(Folder())) {
      const std::string name = entry.path().filename();
      if (name.starts_with("TavJournal") || name.starts_with("TavCache")) {
        std::printf("left in the folder: %s\n", name.c_str());
        isGood = false;
      }
    }
    return CompareLedger() && isGood;
  }

 private:
  struct Slot {
    std::string name;
    std::unique_ptr<ChildProcess> process;
    Clock::time_point end;
  };
  struct Arrived {
    std::int64_t events = 0;
    std::int64_t different = 0;
    std::int64_t highest = -1;
  };

  // Returns the status of ChildProcess::Wait; -1 if the process does not end.
  static int End(ChildProcess& process, int signal) {
    process.Signal(signal);
    return process.Wait(kMaxEnd).value_or(-1);
  }

  std::string Folder() const { return work_ / "folder"; }
  milliseconds Between(int least, int most) {
    return milliseconds(least + static_cast<int>(random_() % static_cast<unsigned>(most - least)));
  }

  void StartGateway(const std::string& port) {
    const std::string portFile = work_ / "port";
    fs::remove(portFile);
    const std::vector<std::string> command = {
        gatewayProgram_, "--port", port, "--port-file", portFile, "--store", work_ / "tav.db"};
    gateway_ = std::make_unique<ChildProcess>(command, kNothing, work_ / "gateway.log");
    while (!fs::exists(portFile)) {
      if (gateway_->Wait(milliseconds(0))) {
        throw std::runtime_error("the gateway does not start");
      }
      std::this_thread::sleep_for(milliseconds(10));
    }
  }

  void RestartGateway() {
    End(*gateway_, random_() % 2 == 0 ? SIGKILL : SIGTERM);
    ++gatewayEnds_;
    std::this_thread::sleep_for(Between(0, 3000));
    StartGateway(port_);
  }

  void Fill(Slot& slot) {
    slot.name = "h" + std::to_string(++started_);
    const std::string& version = kVersions[random_() % std::size(kVersions)];
    const std::int64_t shift = kShifts[random_() % std::size(kShifts)];
    const std::vector<std::string> command = {
        hostProgram_,         slot.name, version, Folder(), work_ / ("counters." + slot.name),
        std::to_string(shift)};
    slot.process = std::make_unique<ChildProcess>(command, kNothing, work_ / "log");
    slot.end = Clock::now() + Between(100, 12'000);
  }

  void Empty(Slot& slot, int signal) {
    const int status = End(*slot.process, signal);
    // A signal before the host has asked for it ends it as SIGKILL does.
    if (status != 0 && status != kSignalled + signal) {
      throw std::runtime_error("host " + slot.name + " ended with " + std::to_string(status));
    }
    kills_ += status == 0 ? 0 : 1;
  }

  std::map<std::string, Arrived> ReadStore() const {
    const std::string command =
        "sqlite3 -separator ' ' '" + (work_ / "tav.db").string() +
        "' \"SELECT json_extract(e.properties, '$.host'), count(*),"
        " count(DISTINCT json_extract(e.properties, '$.serial')),"
        " CAST(max(json_extract(e.properties, '$.serial')) AS INTEGER)"
        " FROM events e JOIN names n ON n.id = e.name WHERE n.name = 'Soak' GROUP BY 1\" >'" +
        (work_ / "arrived").string() + "'";
    if (std::system(command.c_str()) != 0) {
      throw std::runtime_error("the store cannot be read");
    }
    std::map<std::string, Arrived> arrived;
    std::ifstream lines(work_ / "arrived");
    std::string host;
    for (Arrived row; lines >> host >> row.events >> row.different >> row.highest;) {
      arrived[host] = row;
    }
    return arrived;
  }

  bool CompareLedger() const {
    std::map<std::string, Arrived> arrived = ReadStore();
    std::int64_t accepted = 0;
    std::int64_t lost = 0;
    std::int64_t unfinished = 0;
    std::int64_t doubled = 0;
    for (int host = 1; host <= started_; ++host) {
      const std::string name = "h" + std::to_string(host);
      const std::string file = work_ / ("counters." + name);
      for (int thread = 0; thread < kThreads && fs::exists(file); ++thread) {
        const std::int64_t count = Tav::Testing::BlastCounters(file).Get(thread);
        const std::string key = name + '.' + std::to_string(thread);
        const Arrived row = std::exchange(arrived[key], {});
        arrived.erase(key);
        accepted += count;
        doubled += row.events - row.different;
        const std::int64_t missing = std::max(count, row.highest + 1) - row.different;
        const std::int64_t more = std::max<std::int64_t>(row.highest + 1 - count, 0);
        unfinished += more;
        if (missing != 0 || more > 1) {
          std::printf("%s: %lld accepted, %lld arrived, the highest is %lld\n", key.c_str(),
                      static_cast<long long>(count), static_cast<long long>(row.different),
                      static_cast<long long>(row.highest));
          lost += missing;
        }
      }
    }
    std::printf(
        "%lld events accepted, %lld lost, %lld more that were being reported when their host was "
        "killed, %lld arrived twice, %zu unknown hosts; %d hosts, %d of them killed; the gateway "
        "ended %d times; memory %.1f then %.1f MiB, files %lld then %lld, threads %lld then %lld\n",
        static_cast<long long>(accepted), static_cast<long long>(lost),
        static_cast<long long>(unfinished), static_cast<long long>(doubled), arrived.size(),
        started_, kills_, gatewayEnds_, static_cast<double>(early_.memory) / (1 << 20),
        static_cast<double>(late_.memory) / (1 << 20), static_cast<long long>(early_.files),
        static_cast<long long>(late_.files), static_cast<long long>(early_.threads),
        static_cast<long long>(late_.threads));
    return lost == 0 && unfinished <= kills_ * kThreads && arrived.empty() && accepted > 0;
  }

  const std::string gatewayProgram_;
  const std::string hostProgram_;
  const fs::path work_;
  std::mt19937 random_{std::random_device{}()};
  std::unique_ptr<ChildProcess> gateway_;
  std::string port_;
  int started_ = 0;
  int kills_ = 0;
  int gatewayEnds_ = 0;
  Footprint early_;
  Footprint late_;
  bool isFlat_ = true;
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 5) {
    std::fprintf(stderr, "usage: soak SECONDS GATEWAY HOST FOLDER\n");
    return 2;
  }
  try {
    Soak soak(arguments[2], arguments[3], arguments[4]);
    soak.Run(std::chrono::seconds(std::atoll(arguments[1])));
    return soak.Balance() ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "soak: %s\n", error.what());
    return 1;
  }
}
