#include "prove/lives/life.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string_view>

#include "api/entry_points.h"
#include "api/library.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "platform/set_environment.h"
#include "prove/lives/campaign.h"
#include "prove/lives/evidence.h"
#include "prove/lives/process.h"
#include "transport/data_sender.h"

namespace Tav::Testing {

namespace {

constexpr int kMaxCommits = 10;
constexpr int64_t kMillisecondsPerDay = 86'400'000;

// The gateway, in this process. It notes a record before it accepts it.
constinit std::atomic<int> recordsLeft{0};

int32_t Receive(const uint8_t* data, size_t length) {
  if (data == nullptr) {
    return recordsLeft > 0 ? 0 : 1;
  }
  if (recordsLeft.fetch_sub(1) <= 0) {
    recordsLeft = 0;
    return 1;
  }
  Add(Fact::Delivered, {reinterpret_cast<const char*>(data), length});
  return 0;
}

// Whether the library has complained on the host's thread.
constinit std::atomic<long> hostThread{0};
constinit std::atomic<bool> complained{false};

void TAV_CALL OnLine(const char* line) {
  const std::string_view text(line);
  if (Platform::CurrentThreadId() == hostThread &&
      (text.starts_with("warning: ") || text.starts_with("error: "))) {
    complained = true;
  }
  Add(Fact::Logged, text);
}

// Its own texts are short enough to need no allocation.
class Host {
 public:
  explicit Host(std::string prefix) : prefix_(std::move(prefix)) {}

  void Do(const std::string& step, std::istringstream& words) {
    if (step == "offline" || step == "online") {
      recordsLeft = step == "offline" ? 0 : INT32_MAX / 2;
    } else if (step == "accept") {
      recordsLeft = Number(words);
    } else if (step == "start") {
      tav_.Initialize("Proved", "1.0", "1.0.0", TAV_LANGUAGE_EN_US);
    } else if (step == "sync") {
      tav_.GetLastActiveTime();
      tav_.GetLastActiveTime();  // answered in the next turn
    } else if (step == "log") {
      for (int count = Number(words); count > 0; --count) {
        Log();
      }
    } else if (step == "value") {
      std::string text;
      words >> text;
      tav_.AddProductInfo("Edition", text.c_str());
    } else if (step == "commit") {
      Commit();
    } else if (step == "deliver") {
      for (int i = 0; i < kMaxCommits && Commit() != 0; ++i) {
      }
    } else if (step == "terminate") {
      tav_.Terminate();
    } else if (step == "die") {
      Die();
    }
  }

 private:
  static int Number(std::istringstream& words) {
    int number = 0;
    words >> number;
    return number;
  }

  int Commit() {
    const int result = tav_.Commit();
    Add(Fact::Commit, result == 0 ? "0" : "1");
    return result;
  }

  TavEvent_s* Make(int kind, TavSession_s* session) {
    constexpr int kTraces = 2;
    switch (kind) {
      case 0:
        return tav_.NewCommandEvent("Save");
      case 1: {
        TavEvent_s* const error = tav_.NewErrorEvent("E7", "broken");
        for (int i = 0; i < kTraces; ++i) {
          tav_.AddTraceItem(error, "frame", "module", "here");
        }
        return error;
      }
      case 2:
        return tav_.SessionNewEvent(session, "InSession");
      default:
        return tav_.NewEvent("Plain");
    }
  }

  // The property "id" identifies an event, whatever its kind.
  void Log() {
    constexpr int kKinds = 6;
    const int kind = next_ % kKinds;
    const std::string id = prefix_ + '.' + std::to_string(next_++);
    TavSession_s* const session = kind == 2 ? tav_.SessionBegin() : nullptr;
    tav_.LogPlace(prefix_.c_str());
    tav_.IncrementCounter("Counts", prefix_.c_str());
    complained = false;
    TavEvent_s* const event = Make(kind, session);
    tav_.AddEventProperty(event, "id", id.c_str());
    tav_.AddNumericEventProperty(event, "number", next_);
    if (kind == kKinds - 1) {
      tav_.AddEventProperty(event, "large", large_.c_str());
    }
    Add(Fact::Reported, id);
    tav_.LogEvent(event);
    if (!complained) {
      Add(Fact::Accepted, id);
    }
    if (session != nullptr) {
      tav_.SessionEnd(session);
    }
  }

  const TavEntryTable& tav_ = *TavLoader(TAV_INTERFACE_VERSION);
  const std::string prefix_;
  const std::string large_ = std::string(3000, 'x');
  int next_ = 0;
};

// Records of a few events, a few records in a cache file, everything stored at once when the
// gateway is down. Nothing is sent at a time that depends on the machine.
void Configure(const std::string& life) {
  constexpr int kDay = 86400;
  LibraryConfig& config = GetLibrary().config;
  config.maxRecordSize = 2500;
  config.maxCacheBytes = 2000;
  config.maxMemorySize = life == "killed" ? 1 << 20 : 64;
  config.pauseInterval = kDay;
  config.flushInterval = kDay;
  config.sendInterval = kDay;
}

// What was in the storage files before. That the machine was described today spares the time of a
// description.
void PutStorageFiles(const Cell& cell) {
  std::filesystem::create_directories(cell.Storage());
  std::ofstream(cell.Storage() + "/TavData", std::ios::binary)
      << R"({"Products": [{"Name": ")" << kOtherProduct
      << R"(", "Version": "1.0", "Platform": "wntx64", "ProdEnv": {"Edition": "Kept"}}]})";
  std::ofstream(cell.Storage() + "/TsTavData", std::ios::binary)
      << R"({"Products": [], "LastClientQuery": )"
      << Platform::UnixMilliseconds() / kMillisecondsPerDay << ".0}";
}

}  // namespace

int Live(const Cell& cell, const std::string& life, void (*begin)(), void (*end)()) {
  const Life* const chosen = FindLife(life);
  if (chosen == nullptr) {
    return 2;
  }
  BeginEvidence(cell.EvidenceOf(life));
  SetEnvironment("LOCALAPPDATA", cell.folder.c_str());
  SetEnvironment("TAV_GATEWAY", "test://");
  SetEnvironment("TAV_CONFIGURATOR", "null://");
  if (!Platform::Environment("TAV_LOG_LEVEL")) {
    SetEnvironment("TAV_LOG_LEVEL", "NOTE");
  }
  hostThread = Platform::CurrentThreadId();
  recordsLeft = INT32_MAX / 2;
  TestDataSender::SetHook(Receive);
  TavLoader(TAV_INTERFACE_VERSION)->SetMessageSink(TavSinkPointer(OnLine));
  Configure(life);
  Host host(life);
  std::istringstream words(chosen->script);
  std::string step;
  begin();
  while (words >> step) {
    host.Do(step, words);
  }
  end();
  Add(Fact::Ended, life);
  return 0;
}

bool LeaveEarlierRuns(const Cell& cell) {
  std::filesystem::remove_all(cell.folder);
  PutStorageFiles(cell);
  return RunChild({cell.folder, kLives[0].name}) == Ending::Returned &&
         RunChild({cell.folder, kLives[1].name}) == Ending::Died;
}

}  // namespace Tav::Testing
