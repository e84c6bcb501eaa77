// A host that executes commands from its standard input and prints results to its standard output.
// Tests run it in a process of its own, so that they can kill it.
//
// Usage: durable_host PREFIX
// Its events have unique names: PREFIX, a dot and a serial number.
//
//   never_send        SetSendInterval; before start
//   start             Initialize; prints "started STATUS"
//   value KEY TEXT    AddProductInfo
//   log COUNT BYTES   reports events with BYTES of text each; prints "accepted NAME" for each one
//   blast THREADS COUNT BYTES FILE MOMENT
//                     each thread reports COUNT events PREFIX.THREAD.SERIAL; how many of them have
//                     been accepted stands in FILE, see blast_counters.h; the first thread kills
//                     the process when it has reported MOMENT events; prints "blasted"
//   suspend, resume   Suspend, Resume
//   die NUMBER        from now on, kill_points.h
//   points            prints "points COUNT", those passed since then
//   recovered FOLDER  waits until there is one journal in FOLDER; prints "recovered"
//   sync              waits until the session thread has handled all earlier calls; prints "synced"
//   commit            Commit; prints "committed STATUS"
//   terminate         Terminate; prints "terminated MILLISECONDS", the time that it took
//
// At the end of its input it terminates the library and exits. It prints the library's log as
// "log: LINE".
#include <signal.h>
#include <tav/tav.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "system/posix/blast_counters.h"
#include "system/posix/kill_points.h"

extern "C" const TavEntryTable* TAV_CALL TavLoader(int version);

namespace {

// One write for each line, so that the lines of several threads do not mix.
void Print(const std::string& line) {
  const std::string whole = line + '\n';
  if (write(STDOUT_FILENO, whole.data(), whole.size()) < 0) {
    _exit(3);
  }
}

void TAV_CALL OnLogLine(const char* line) {
  Print(std::string("log: ") + line);
}

class Host {
 public:
  explicit Host(const std::string& prefix) : prefix_(prefix), random_(Seed(prefix)) {
    tav_.SetMessageSink(TavSinkPointer(OnLogLine));
  }

  bool Do(const std::string& line) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    const auto found = commands_.find(command);
    if (found == commands_.end()) {
      return false;
    }
    found->second(words);
    return !words.fail();
  }

  void Terminate() { tav_.Terminate(); }

 private:
  using Words = std::istringstream;

  static std::uint32_t Seed(const std::string& prefix) {
    std::seed_seq sequence(prefix.begin(), prefix.end());
    std::uint32_t seed = 0;
    sequence.generate(&seed, &seed + 1);
    return seed;
  }

  // Text that gzip hardly compresses up to a thousand bytes; a longer one repeats itself.
  std::string Noise(std::size_t length) {
    constexpr std::size_t kPeriod = 1000;
    std::string text;
    while (text.size() < length) {
      text += text.size() < kPeriod ? static_cast<char>(' ' + 1 + random_() % 94)
                                    : text[text.size() - kPeriod];
    }
    return text;
  }

  void Log(Words& words) {
    int count = 0;
    std::size_t bytes = 0;
    words >> count >> bytes;
    for (int i = 0; i < count; ++i) {
      const std::string name = prefix_ + '.' + std::to_string(next_++);
      TavEvent_s* const event = tav_.NewEvent(name.c_str());
      tav_.AddEventProperty(event, "noise", Noise(bytes).c_str());
      tav_.LogEvent(event);
      Print("accepted " + name);
    }
  }

  void Blast(Words& words) {
    int threads = 0;
    int count = 0;
    std::size_t bytes = 0;
    std::string file;
    int moment = 0;
    words >> threads >> count >> bytes >> file >> moment;
    Tav::Testing::BlastCounters counters(file);
    const std::string noise = Noise(bytes);
    std::vector<std::thread> blasting;
    for (int i = 0; i < threads; ++i) {
      blasting.emplace_back([&, i] {
        const std::string prefix = prefix_ + '.' + std::to_string(i) + '.';
        for (int serial = 0; serial < count; ++serial) {
          TavEvent_s* const event = tav_.NewEvent((prefix + std::to_string(serial)).c_str());
          tav_.AddEventProperty(event, "noise", noise.c_str());
          tav_.LogEvent(event);
          counters.Set(i, serial + 1);
          if (i == 0 && serial + 1 == moment) {
            kill(getpid(), SIGKILL);
          }
        }
      });
    }
    for (std::thread& thread : blasting) {
      thread.join();
    }
    Print("blasted");
  }

  static void AwaitRecovery(Words& words) {
    std::string folder;
    words >> folder;
    const auto journals = [&] {
      int count = 0;
      for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        count += entry.path().filename().string().starts_with("TavJournal_") ? 1 : 0;
      }
      return count;
    };
    while (journals() > 1) {
      usleep(1000);
    }
    Print("recovered");
  }

  void TimeTermination() {
    using std::chrono::steady_clock;
    const steady_clock::time_point begin = steady_clock::now();
    tav_.Terminate();
    const auto taken =
        std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - begin);
    Print("terminated " + std::to_string(taken.count()));
  }

  const TavEntryTable& tav_ = *TavLoader(TAV_INTERFACE_VERSION);
  const std::string prefix_;
  std::mt19937 random_;
  int next_ = 0;
  const std::map<std::string, std::function<void(Words&)>> commands_ = {
      {"never_send", [this](Words&) { tav_.SetSendInterval(0xFFFFFFFF, TAV_UNIT_SECONDS); }},
      {"start",
       [this](Words&) {
         Print("started " +
               std::to_string(tav_.Initialize("Durable", "1.0", "1.0.0", TAV_LANGUAGE_EN_US)));
       }},
      {"value",
       [this](Words& words) {
         std::string key;
         std::string text;
         words >> key >> text;
         tav_.AddProductInfo(key.c_str(), text.c_str());
       }},
      {"log", [this](Words& words) { Log(words); }},
      {"blast", [this](Words& words) { Blast(words); }},
      {"die",
       [](Words& words) {
         int number = 0;
         words >> number;
         Tav::Testing::KillAtPoint(number);
       }},
      {"points", [](Words&) { Print("points " + std::to_string(Tav::Testing::PointsPassed())); }},
      {"recovered", [](Words& words) { AwaitRecovery(words); }},
      {"suspend", [this](Words&) { tav_.Suspend(); }},
      {"resume", [this](Words&) { tav_.Resume(); }},
      {"sync",
       [this](Words&) {
         tav_.PushData("no record");  // a question would overtake earlier calls
         Print("synced");
       }},
      {"commit", [this](Words&) { Print("committed " + std::to_string(tav_.Commit())); }},
      {"terminate", [this](Words&) { TimeTermination(); }},
  };
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: durable_host PREFIX\n", stderr);
    return 2;
  }
  signal(SIGPIPE, SIG_IGN);
  Host host(argv[1]);
  std::string line;
  while (std::getline(std::cin, line)) {
    if (!host.Do(line)) {
      std::fprintf(stderr, "durable_host: not a command: %s\n", line.c_str());
      return 2;
    }
  }
  host.Terminate();
  return 0;
}
