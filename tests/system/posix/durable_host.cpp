// A host that does what the lines of its standard input say, and says on its standard output what
// it has done. Tests start it as a process of its own, so that they can kill it.
//
// Usage: durable_host PREFIX
// The events it reports have names of their own: PREFIX, a dot and a serial number.
//
//   interval SECONDS     SetSendInterval     | before start
//   environment KEY TEXT AddSessionEnvInfo   |
//   optout               OptOut              |
//   start                Initialize
//   value KEY TEXT       AddProductInfo
//   log COUNT BYTES      reports events with BYTES of text each; says "accepted NAME" for each one
//   suspend, resume      the entry points of that name
//   sync                 waits until the library has handled everything before; says "synced"
//   commit               Commit; says "committed STATUS"
//   terminate            Terminate; says "terminated MILLISECONDS" that it took
//
// It ends with its input, after Terminate. Lines of the library's log come out as "log: LINE".
#include <signal.h>
#include <tav/tav.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <string>

extern "C" const TavEntryTable* TAV_CALL TavLoader(int version);

namespace {

// One write a line, so that the lines of several threads stay whole.
void Say(const std::string& line) {
  const std::string whole = line + '\n';
  if (write(STDOUT_FILENO, whole.data(), whole.size()) < 0) {
    _exit(3);
  }
}

void TAV_CALL OnLogLine(const char* line) {
  Say(std::string("log: ") + line);
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

  // Text that gzip cannot make much smaller.
  std::string Noise(std::size_t length) {
    std::string text;
    while (text.size() < length) {
      text += static_cast<char>(' ' + 1 + random_() % 94);
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
      Say("accepted " + name);
    }
  }

  template <typename Call>
  static void WithPair(Words& words, Call call) {
    std::string key;
    std::string text;
    words >> key >> text;
    call(key.c_str(), text.c_str());
  }

  void TimeTermination() {
    using std::chrono::steady_clock;
    const steady_clock::time_point begin = steady_clock::now();
    tav_.Terminate();
    const auto taken =
        std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - begin);
    Say("terminated " + std::to_string(taken.count()));
  }

  const TavEntryTable& tav_ = *TavLoader(TAV_INTERFACE_VERSION);
  const std::string prefix_;
  std::mt19937 random_;
  int next_ = 0;
  const std::map<std::string, std::function<void(Words&)>> commands_ = {
      {"interval",
       [this](Words& words) {
         unsigned int seconds = 0;
         words >> seconds;
         tav_.SetSendInterval(seconds, TAV_UNIT_SECONDS);
       }},
      {"environment", [this](Words& words) { WithPair(words, tav_.AddSessionEnvInfo); }},
      {"optout", [this](Words&) { tav_.OptOut(); }},
      {"start",
       [this](Words&) {
         Say("started " +
             std::to_string(tav_.Initialize("Durable", "1.0", "1.0.0", TAV_LANGUAGE_EN_US)));
       }},
      {"value", [this](Words& words) { WithPair(words, tav_.AddProductInfo); }},
      {"log", [this](Words& words) { Log(words); }},
      {"suspend", [this](Words&) { tav_.Suspend(); }},
      {"resume", [this](Words&) { tav_.Resume(); }},
      {"sync",
       [this](Words&) {
         tav_.GetLastActiveTime();
         Say("synced");
       }},
      {"commit", [this](Words&) { Say("committed " + std::to_string(tav_.Commit())); }},
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
