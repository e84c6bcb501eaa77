// What the log contains, and what a host's sink may do: it may wait for a lock that another thread
// holds while it calls the library.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "api/entry_guard.h"
#include "platform/identifiers.h"
#include "platform/machine.h"
#include "platform/process.h"
#include "platform/set_environment.h"
#include "support/table_fixture.h"
#include "util/format.h"

namespace Tav::Testing {
namespace {

class LogTest : public TableTest {
 protected:
  LogTest() {
    TakeLines();
    tav.SetMessageSink(TavSinkPointer(Receive));
  }

  static void TAV_CALL Receive(const char* line) {
    const std::lock_guard guard(lock_);
    lines_.emplace_back(line);
  }

  static Lines TakeLines() {
    const std::lock_guard guard(lock_);
    return std::exchange(lines_, {});
  }

 private:
  static inline std::mutex lock_;
  static inline Lines lines_;
};

TEST_F(LogTest, TextsOfTheHostCannotForgeALine) {
  const std::string forged = "\n2026-03-04T10:11:12.345Z error: forged\x1b[2J";
  tav.SetProductContext(("context" + forged).c_str());
  tav.SetProductComponentName(("component" + forged).c_str());
  tav.AddProductInfo(("key" + forged).c_str(), ("value" + forged).c_str());
  ASSERT_EQ(Initialize("Editor", "4\nerror: \xC2\x9B", ("4.2" + forged).c_str()), TAV_OK);
  tav.LogPlace(("place" + forged).c_str());
  tav.LogEvent(tav.NewEvent(("event" + forged).c_str()));
  tav.PushData(("data" + forged).c_str());
  EXPECT_EQ(tav.Commit(), 0);
  Stop();
  int escaped = 0;
  for (const std::string& line : TakeLines()) {
    escaped += line.find("\\x0a") != std::string::npos ? 1 : 0;
    EXPECT_EQ(line.find("\nerror: "), std::string::npos) << line;
    EXPECT_EQ(line.find("\n2026-"), std::string::npos) << line;
    EXPECT_EQ(line.find('\x1b'), std::string::npos) << line;
    EXPECT_EQ(line.find("\xC2\x9B"), std::string::npos) << line;
    // The lines of the library's own: the start banner and the end of the line of identifiers.
    const auto newLines = std::count(line.begin(), line.end(), '\n');
    EXPECT_TRUE(newLines == 0 || (newLines == 15 && line.starts_with("\n    ---")) ||
                (newLines == 1 && line.starts_with("SM: CustID: ") && line.ends_with('\n')))
        << line;
  }
  EXPECT_GE(escaped, 6);
}

TEST_F(LogTest, IdentifiersNeverAppear) {
  tav.SetCustomerIdentifier("customer-4711");
  Start();
  Stop();
  tav.SetCustomerIdentifier("customer-4711");
  tav.SetCustomerIdentifier(
      (std::string(250, ' ') + "customer-4711" + std::string(243, 'x')).c_str());
  tav.SetUserIdentifier("jane.doe@example.com");
  tav.SetUserIdentifier(("jane.doe@example.com" + std::string(300, 'x')).c_str());
  Start();
  char endpoint[64] = "";
  tav.GetEndpointIdentifier(endpoint, sizeof endpoint);
  Stop();
  std::vector<std::string> secrets{"customer-4711", "jane.doe", "7d078226a24dddc56302e329457e436e",
                                   "'" + Platform::UserName() + "'"};
  for (const Platform::Adapter& adapter : Platform::QueryAdapters().adapters) {
    secrets.push_back("Checking adapter " + adapter.name);
    if (!adapter.friendlyName.empty()) {
      secrets.push_back("Adapter name is " + adapter.friendlyName);
    }
    if (!adapter.address.empty()) {
      secrets.push_back(HexText(adapter.address.data(), adapter.address.size(), HexCase::Upper));
    }
  }
  const Lines lines = TakeLines();
  for (const std::string& secret : secrets) {
    for (const std::string& line : lines) {
      EXPECT_EQ(line.find(secret), std::string::npos) << secret << " in: " << line;
    }
  }
  const auto logged = [&lines](const std::string& text) {
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
      return line.find(text) != std::string::npos;
    });
  };
  EXPECT_TRUE(logged("UT: Hashing '[20 bytes]'..."));
  EXPECT_TRUE(logged("SM: CustID: [13 bytes], UserID: [32 bytes], ProdCtx: , ProdComp: "));
  EXPECT_TRUE(logged("bad input name: [320 bytes]"));
  EXPECT_TRUE(logged(endpoint)) << "the endpoint identifier is a pseudonym, which support needs";
}

TEST_F(LogTest, PathsDoNotNameTheUser) {
  const std::string before = Platform::Environment("USERPROFILE").value_or("");
  const std::string profile = StorageFolder::Utf8(folder_.Base());
  SetEnvironment("USERPROFILE", profile.c_str());
  Start();
  tav.SetCacheDirectory(profile.c_str());
  Stop();
  SetEnvironment("USERPROFILE", before.empty() ? nullptr : before.c_str());
  HideProfileFolder();
  int hidden = 0;
  for (const std::string& line : TakeLines()) {
    EXPECT_EQ(line.find(profile), std::string::npos) << line;
    hidden += line.find("%USERPROFILE%") != std::string::npos ? 1 : 0;
  }
  EXPECT_GE(hidden, 2);
}

TEST_F(LogTest, NoExceptionLeavesAnEntryPoint) {
  Start();
  EXPECT_EQ(Boundary(7, []() -> int { throw std::out_of_range("index"); }), 7);
  Boundary([] { throw std::bad_alloc(); });
  Boundary([] { throw 5; });
  Stop();
  Lines errors = TakeLines();
  std::erase_if(errors, [](const std::string& line) { return !line.starts_with("error: "); });
  EXPECT_EQ(errors, (Lines{"error: Tav: Unexpected exception: index", "error: Tav: Out of memory",
                           "error: Tav: Unexpected exception"}));
}

// The logging thread: at each of its log lines it waits in its sink until the other thread has done
// a round of calls, and only then takes the host's lock. So the other thread's calls must not need
// anything that the logging thread holds while it logs.
class SinkLockTest : public TableTest {
 protected:
  static constexpr auto kBound = std::chrono::seconds(20);  // of a wait that should be short

  SinkLockTest() {
    logger_ = std::thread::id();
    roundWanted_ = false;
    stop_ = false;
    rounds_ = 0;
    gaveUp_ = false;
    stuck_.clear();
    tav.SetMessageSink(TavSinkPointer(Receive));
  }

  // Runs `calls` on a thread whose sink waits, while another one repeats `round` holding the host's
  // lock or not.
  void Run(const std::function<void()>& calls, const std::function<void()>& round, bool holdLock) {
    std::thread other([&] {
      while (!stop_) {
        std::unique_lock held(hostLock_, std::defer_lock);
        if (holdLock) {
          held.lock();
        }
        if (roundWanted_) {
          round();
          roundWanted_ = false;
          ++rounds_;
        }
        held = {};
        std::this_thread::yield();
      }
    });
    std::thread logger([&] {
      logger_ = std::this_thread::get_id();
      calls();
      logger_ = std::thread::id();
    });
    logger.join();
    stop_ = true;
    other.join();
    EXPECT_EQ(stuck_, "") << "another thread could not call the library during this line";
    EXPECT_GT(rounds_, 0);
  }

 private:
  static void TAV_CALL Receive(const char* line) {
    const auto end = std::chrono::steady_clock::now() + kBound;
    if (logger_ == std::this_thread::get_id() && !gaveUp_) {
      roundWanted_ = true;
      while (roundWanted_ && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
      }
      if (roundWanted_) {
        stuck_ = line;
        gaveUp_ = true;
      }
    }
    if (!gaveUp_ && hostLock_.try_lock_until(end)) {
      hostLock_.unlock();
    }
  }

  static inline std::recursive_timed_mutex hostLock_;
  static inline std::atomic<std::thread::id> logger_;
  static inline std::atomic<bool> roundWanted_;
  static inline std::atomic<bool> stop_;
  static inline std::atomic<int> rounds_;
  static inline std::atomic<bool> gaveUp_;
  static inline std::string stuck_;  // the line at which the logging thread gave up
};

TEST_F(SinkLockTest, AHostMayReportWhileItHoldsALockThatItsSinkTakes) {
  const auto report = [this] {
    tav.LogEvent(tav.NewEvent("Event"));
    tav.LogPlace("Place");
    tav.LogIdle();
    tav.AddProductInfo("Edition", "Pro");
    TavSession_s* const session = tav.SessionBegin();
    tav.LogEvent(tav.SessionNewEvent(session, "InSession"));
    tav.SessionEnd(session);
    tav.LogEvent(tav.NewCommandEvent("Command"));
    tav.Suspend();
    tav.Resume();
  };
  Start();
  Run(report, report, true);
  Stop();
  EXPECT_EQ(NamesIn(TextAt(EventsNamed("Event").at(0).Get(), "s")).front(), "$b");
}

// The calls wait for the session thread, whose lines go to the sink, too: a host must not hold the
// lock while it makes them.
TEST_F(SinkLockTest, ARequestIsAnsweredWhileAnotherThreadIsInItsSink) {
  const auto request = [this] {
    char endpoint[64];
    tav.GetEndpointIdentifier(endpoint, sizeof endpoint);
    tav.GetLastActiveTime();
    tav.LogEvent(tav.NewEvent("Event"));
    tav.FreeData(tav.PullData());
    tav.PushData("");
    EXPECT_EQ(tav.Commit(), 0);
  };
  Start();
  Run(request, request, false);
  Stop();
}

}  // namespace
}  // namespace Tav::Testing
