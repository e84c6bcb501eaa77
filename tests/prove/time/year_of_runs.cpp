// A year of a host that is used every day, several times a day, with the library's own parts and
// clocks that are stepped: the computer sleeps, the gateway is down for days, somebody sets the
// wall clock to another year and back.
#include <chrono>
#include <filesystem>
#include <map>
#include <set>

#include "prove/time/seeds.h"
#include "prove/time/stepped_clocks.h"
#include "session/session_parts.h"
#include "support/random.h"

namespace Tav::Testing {
namespace {

constexpr int64_t kNewYear2026 = 1'767'225'600;
constexpr int64_t kOneDay = 86400;

class YearOfRunsTest : public SessionManagerTest {
 protected:
  YearOfRunsTest() { TestDataSender::SetHook(&Receive); }
  ~YearOfRunsTest() override { TestDataSender::SetHook(nullptr); }

  // A null body opens the connection.
  static int32_t Receive(const uint8_t* data, size_t length) {
    if (data == nullptr) {
      ++attempts;
      return down ? 1 : 0;
    }
    const JsonPtr record(
        json_loadb(reinterpret_cast<const char*>(data), length, JSON_ALLOW_NUL, nullptr));
    size_t index = 0;
    const json_t* event = nullptr;
    const std::lock_guard guard(lock);
    json_array_foreach(json_object_get(record.Get(), "rt"), index, event) {
      EXPECT_TRUE(arrived.insert(TextAt(event, "m")).second) << "twice";
    }
    return 0;
  }

  void LiveAYear(unsigned seed, int64_t days) {
    Random random(seed);
    const SteppedClocks clocks(1'000'000, kNewYear2026);
    arrived.clear();
    logged_ = 0;
    const uint32_t agedBefore = CacheManager::AgedFileCount();
    // In every second year nobody sets the wall clock by more than hours: no file seems old then.
    const int64_t jump = seed % 2 == 0 ? 3600 : 366 * kOneDay;
    for (int64_t day = 0; day < days && !HasFailure(); ++day) {
      down = random.OneIn(8) || day % 20 == 0 ? !down && day % 20 != 0 : down.load();
      if (random.OneIn(30)) {
        SteppedClocks::SetWall(kNewYear2026 + day * kOneDay + (random.Below(8) - 4) * jump);
      } else if (random.OneIn(10)) {
        SteppedClocks::SetWall(kNewYear2026 + day * kOneDay);
      }
      for (int64_t run = 1 + random.Below(4); run > 0 && !HasFailure(); --run) {
        UseTheHost(random, jump);
        SteppedClocks::Step(random.Below(kOneDay / 5));
      }
      log_.Take();
    }
    down = false;
    for (int run = 0; run < 2 && !HasFailure(); ++run) {
      UseTheHost(random, jump);
      SteppedClocks::Step(1000);
    }
    EXPECT_LE(arrived.size(), logged_);
    EXPECT_TRUE(seed % 2 != 0 || CacheManager::AgedFileCount() == agedBefore);
    if (CacheManager::AgedFileCount() == agedBefore) {
      EXPECT_EQ(arrived.size(), logged_) << "nothing is lost but by age";
    }
  }

 private:
  // One run. The session thread's turns are made when its timers expire and when events come.
  void UseTheHost(Random& random, int64_t jump) {
    SessionParts run(config_, Wmi("1"));
    run.delivery.Schedule().SetInitialWaitTime(ReadClocks(), run.delivery.Store().CacheSize(),
                                               run.delivery.Store().OldestCached());
    failures_ = 0;
    attempted_ = false;
    waitingSince_ = -1;
    pauseEnd_ = 0;
    for (int64_t activity = random.Below(12); activity > 0 && !HasFailure(); --activity) {
      for (int64_t events = random.Below(4); events > 0; --events) {
        if (run.delivery.Batch().Pending().Empty()) {
          pauseEnd_ = SteppedClocks::Monotonic() + 1;
        }
        run.Log("e" + std::to_string(++logged_));
      }
      Turn(run);
      if (random.OneIn(40)) {
        SteppedClocks::Step(random.Below(3 * kOneDay));  // the computer sleeps
      } else if (random.OneIn(40)) {
        SteppedClocks::SetWall(SteppedClocks::Wall() + (random.Below(4) - 2) * jump);
      } else {
        IdleFor(run, random.OneIn(3) ? random.Below(3000) : random.Below(60));
      }
    }
    run.Terminate();
    DateFiles();
  }

  void IdleFor(SessionParts& run, int64_t seconds) {
    const int64_t end = SteppedClocks::Monotonic() + seconds;
    while (SteppedClocks::Monotonic() < end && !HasFailure()) {
      const int64_t timeout = run.delivery.Schedule().ComputeTimeout(ReadClocks());
      SteppedClocks::Step(
          std::min(end - SteppedClocks::Monotonic(), std::max<int64_t>(timeout, 1)));
      Turn(run);
    }
  }

  void Turn(SessionParts& run) {
    Delivery& delivery = run.delivery;
    const int before = attempts;
    const int64_t now = SteppedClocks::Monotonic();
    delivery.Schedule().CheckTimers(ReadClocks());
    const bool due = delivery.IsSendDue(false);
    if (due) {
      delivery.SendSome();
    }
    if (!due || delivery.Sending()) {
      run.flush.FlushIfDue();
    }
    run.flush.Arm();
    DateFiles();
    if (attempts != before) {
      EXPECT_TRUE(!attempted_ || now >= lastAttempt_ + Wait()) << "intervals are respected";
      attempted_ = true;
      lastAttempt_ = now;
      failures_ = down ? failures_ + 1 : 0;
    }
    CheckNoStall(delivery, now);
  }

  // With the default settings: 300 seconds after a success; 300, 1200, 2100, ... after failures.
  int64_t Wait() const { return failures_ == 0 ? 300 : 300 + 900 * (failures_ - 1); }

  // Whatever waits is tried when the documented wait is over.
  void CheckNoStall(Delivery& delivery, int64_t now) {
    const bool waits = !delivery.Batch().Pending().Empty() || !delivery.Store().NothingInMemory() ||
                       delivery.Store().CacheSize() > 0;
    if (!waits) {
      waitingSince_ = -1;
      return;
    }
    waitingSince_ = waitingSince_ < 0 ? now : waitingSince_;
    EXPECT_TRUE(delivery.Sending() || now < pauseEnd_ ||
                (attempted_ && now < lastAttempt_ + Wait()))
        << "a record stalls: " << now - waitingSince_ << " s, after " << failures_ << " failures";
  }

  // The system dates files by its own clock; here they are dated by the stepped one.
  void DateFiles() {
    namespace fs = std::filesystem;
    const fs::path folder = GetStorageDirectory(AlternateStorage());
    std::map<fs::path, fs::file_time_type> dated;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
      fs::file_time_type time = entry.last_write_time();
      const auto known = dated_.find(entry.path());
      if (known == dated_.end() || known->second != time) {
        const std::chrono::sys_seconds now{std::chrono::seconds(SteppedClocks::Wall())};
        time = std::chrono::file_clock::from_sys(now);
        fs::last_write_time(entry.path(), time);
      }
      dated[entry.path()] = time;
    }
    dated_ = std::move(dated);
  }

  static inline std::mutex lock;
  static inline std::set<std::string> arrived;
  static inline std::atomic<bool> down{false};
  static inline std::atomic<int> attempts{0};

  std::map<std::filesystem::path, std::filesystem::file_time_type> dated_;
  size_t logged_ = 0;
  int failures_ = 0;
  bool attempted_ = false;  // in this run
  int64_t lastAttempt_ = 0;
  int64_t waitingSince_ = -1;
  int64_t pauseEnd_ = 0;  // of the pause after activity
};

TEST_F(YearOfRunsTest, NothingStallsAndNothingIsLostWithoutAge) {
  const bool isLong = SeedCount() > 3;
  for (unsigned seed = 1; seed <= SeedCount() && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    LiveAYear(seed, isLong ? 365 : 30);
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path(""))) {
      std::filesystem::remove_all(entry.path());
    }
    folder_.PutClientStamp();
  }
}

}  // namespace
}  // namespace Tav::Testing
