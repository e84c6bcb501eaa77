// The ways in which the library, or the host, ends.
#include <thread>

#include "prove/host/host.h"
#include "prove/host/system.h"

namespace ProveHost {
namespace {

// Runs while all threads still exist: after the return from main, before the system ends them.
struct CommitAtEnd {
  ~CommitAtEnd() {
    if (host != nullptr) {
      const int64_t begin = Now();
      host->Tav().Commit();
      host->Report("committed", Now() - begin);
    }
  }

  const Host* host = nullptr;
};
CommitAtEnd commitAtEnd;

void UseOtherProduct(const Host& host) {
  host.Start("Other.Product", host.Folder() + "-other");
  host.LogEvents("Other.Product", 10);
  host.Terminate();
}

// The library's threads go on for a moment, if they do.
void UnloadAndLinger(const Host& host) {
  if (!Unload(host.Library())) {
    host.Fail("cannot unload the library");
  }
  const int64_t end = Now() + 1500;
  while (IsLoaded(host.Library()) && Now() < end) {
    Sleep(5);
  }
  host.Report("mapped", IsLoaded(host.Library()) ? 1 : 0);
}

}  // namespace

int Host::End(const std::string& end) const {
  if (end == "return") {
    return 0;
  }
  if (end == "static-commit") {
    commitAtEnd.host = this;
    return 0;
  }
  if (end == "unload-running") {
    UnloadAndLinger(*this);
    return 0;
  }
  if (end == "exit-elsewhere") {
    std::thread([] { EndProcess("exit"); }).join();
  }
  EndProcess(end);

  Terminate();
  if (end == "terminate-twice") {
    Terminate();
  } else if (end == "other-product") {
    UseOtherProduct(*this);
  } else if (end == "unload") {
    UnloadAndLinger(*this);
  } else if (end != "terminate") {
    Fail("there is no such end");
  }
  return 0;
}

}  // namespace ProveHost
