// The states into which the host brings the library.
#include <filesystem>
#include <utility>

#include "prove/host/host.h"
#include "prove/host/system.h"

namespace ProveHost {
namespace {

constexpr int kSomeEvents = 300;

// All events of the host have arrived.
void BeIdle(const Host& host) {
  host.Start();
  host.LogEvents(kSomeEvents);
  host.Await([&host] { return host.Tav().Commit() == 0; }, "Commit does not succeed");
}

// The session thread has taken some of the events and makes records of them.
void Build(const Host& host) {
  host.Start();
  host.LogEvents(30000);
}

void Queue(const Host& host) {
  host.Start();
  host.LogEvents(400000);
}

// Reports events that are sent together, and with the values that each first record carries. Before
// Resume, nothing is sent.
void LogSuspended(const Host& host, int count, int textSize) {
  host.Initialize(host.Product(), host.Folder());
  host.Tav().Suspend();
  host.Tav().GetLastActiveTime();
  host.Report("base_kilobytes", Measure().kilobytes);
  host.LogEvents(host.Product(), count, textSize);
}

// A request has begun when the driver says so.
void Send(const Host& host) {
  LogSuspended(host, kSomeEvents, 20);
  host.Tav().Resume();
  host.AwaitGo();
}

// The same with a body of many pieces.
void SendMuch(const Host& host) {
  LogSuspended(host, 600, 1000);
  host.Tav().Resume();
  host.AwaitGo();
}

// Sends again and again until everything has arrived.
void Persist(const Host& host) {
  LogSuspended(host, 600, 1000);
  host.Await([&host] { return host.Tav().Commit() == 0; }, "Commit does not succeed");
}

void BackOff(const Host& host) {
  host.Start();
  host.LogEvents(kSomeEvents);
  host.Await([] { return SendFailures() > 0; }, "no send has failed");
}

void FillCache(const Host& host) {
  host.Start();
  host.LogEvents("Earlier", 20000, 300);
}

// The cache of an earlier run is being sent.
void CatchUp(const Host& host) {
  host.Start();
  host.LogEvents(kSomeEvents);
  host.AwaitGo();
}

void HangHardware(const Host& host) {
  if (!HangHardwareQueries()) {
    host.Fail("the hardware queries cannot be made to hang");
  }
  host.Start();
  host.LogEvents(kSomeEvents);
  host.Await(HardwareQueryHangs, "no hardware query hangs");
}

// Longer than the terminate time.
void HangSink(const Host& host) {
  HangInSink(13000);
  host.Start();
  host.LogEvents(kSomeEvents);
  host.Await([] { return SendFailures() > 0; }, "no send has failed");
  HangInSink(0);
}

void LockStorage(const Host& host) {
  if (!HoldFile(host.Folder() + "/TavData")) {
    host.Fail("cannot hold the storage file");
  }
  host.Start();
  host.LogEvents(kSomeEvents);
  host.Await([] { return LockedFiles() > 0; }, "the storage is not locked");
}

void Suspend(const Host& host) {
  LogSuspended(host, kSomeEvents, 20);
  host.Tav().GetLastActiveTime();
}

// Of journals and the cache.
int CountFiles(const Host& host) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(host.Folder())) {
    const std::string name = entry.path().filename().string();
    count += name.starts_with("TavJournal_") || name.starts_with("TavCache_") ? 1 : 0;
  }
  return count;
}

// A later run that delivers what it finds. It has a journal of its own. The system may take a while
// to close the files of a process that has ended.
void Deliver(const Host& host) {
  host.Start();
  host.Await([&host] { return host.Tav().Commit() == 0 && CountFiles(host) <= 1; },
             "a later run cannot deliver everything");
  host.Terminate();
  if (CountFiles(host) != 0) {
    host.Fail("files stay after the delivery");
  }
}

constexpr std::pair<const char*, void (*)(const Host&)> kStates[] = {
    {"idle", BeIdle},           {"building", Build},
    {"sending", Send},          {"backing-off", BackOff},
    {"catching-up", CatchUp},   {"silent-gateway", Send},
    {"silent-settings", Send},  {"hanging-wmi", HangHardware},
    {"hanging-sink", HangSink}, {"locked", LockStorage},
    {"queued", Queue},          {"suspended", Suspend},
    {"sending-much", SendMuch}, {"persisting", Persist},
    {"fill-cache", FillCache},  {"deliver", Deliver},
};

}  // namespace

bool Host::Enter(const std::string& state) const {
  if (state == "cycles") {
    Cycle(*this, number_);
    return true;
  }
  if (state == "two-copies") {
    UseTwoCopies(*this);
    return true;
  }
  for (const auto& [name, enter] : kStates) {
    if (state == name) {
      enter(*this);
      return true;
    }
  }
  return false;
}

}  // namespace ProveHost
