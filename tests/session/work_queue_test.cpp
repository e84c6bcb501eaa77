#include "session/work_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "session/encoded_event.h"
#include "support/records.h"

namespace Tav {
namespace {

struct Idle final : Thread {
  ~Idle() override = default;
  void Main() override {}
};

class WorkQueueTest : public testing::Test {
 protected:
  ~WorkQueueTest() override { thread_->Release(); }

  void AddEvent(std::string_view name) {
    queue_.AddEvent(EncodedEvent(name, Testing::kSession).Bytes());
  }
  // The names of the events that came with a take, and "!" for an item, in their order.
  std::vector<std::string> Take(int timeoutSeconds) {
    Work work = queue_.TakeWork(timeoutSeconds);
    std::vector<std::string> names;
    while (const WorkItemPtr item = work.items.TakeFirst()) {
      TakeEvents(item->position, names);
      names.emplace_back("!");
    }
    TakeEvents(work.end, names);
    return names;
  }
  // How long one take lasted, in milliseconds; `count` gets what it delivered.
  int64_t TimedTake(int timeoutSeconds, int& count) {
    const int64_t start = Platform::MonotonicMilliseconds();
    count = static_cast<int>(Take(timeoutSeconds).size());
    return Platform::MonotonicMilliseconds() - start;
  }

  void TakeEvents(EventLog::Position end, std::vector<std::string>& names) {
    while (const auto event = queue_.Reader().Next(taken_, end)) {
      names.emplace_back(event->view.Fields().name);
      taken_ = event->end;
    }
  }

  Idle* thread_ = new Idle;
  WorkQueue queue_{*thread_};
  EventLog::Position taken_ = 0;
};

TEST_F(WorkQueueTest, TakesEverythingAtOnceInOrderWithoutWaiting) {
  for (const char* name : {"a", "b", "c"}) {
    AddEvent(name);
  }
  queue_.AddItem(MakeWorkItem(ItemCode::Commit));
  AddEvent("d");
  EXPECT_EQ(Take(86400), (std::vector<std::string>{"a", "b", "c", "!", "d"}));
  EXPECT_TRUE(Take(0).empty());
}

TEST_F(WorkQueueTest, ASleepingConsumerIsWokenByAnyItem) {
  std::thread host([this] { AddEvent("wake"); });
  int count = 0;
  EXPECT_LT(TimedTake(60, count), 30000);
  EXPECT_EQ(count, 1);
  host.join();
}

TEST_F(WorkQueueTest, EventsGatherDuringTheBatchDelay) {
  constexpr int kEvents = 50;
  queue_.SetBatchDelay(500);
  std::thread host([this] {
    for (int i = 0; i < kEvents; ++i) {
      AddEvent("gathered");
      Platform::SleepMilliseconds(1);
    }
  });
  int takes = 0;
  for (int total = 0, count = 0; total < kEvents; total += count) {
    TimedTake(60, count);
    ++takes;
  }
  EXPECT_LT(takes, kEvents / 2);
  host.join();
}

// The delay is far longer than the test may take: only a wake-up ends it.
TEST_F(WorkQueueTest, RequestsAndLargeBatchesEndTheBatchDelay) {
  constexpr int kBatchThatWakes = 2048;
  queue_.SetBatchDelay(60000);
  AddEvent("first");
  int count = 0;
  TimedTake(60, count);
  std::thread host([this] {
    Platform::SleepMilliseconds(20);
    AddEvent("before");
    queue_.AddItem(MakeWorkItem(ItemCode::Sync));
    for (int i = 0; i < 3 * kBatchThatWakes; ++i) {
      AddEvent("many");
    }
  });
  int64_t waited = 0;
  for (int total = 0; total < 2 + kBatchThatWakes; total += count) {
    waited += TimedTake(60, count);
  }
  EXPECT_LT(waited, 40000);
  host.join();
}

TEST_F(WorkQueueTest, NothingIsLostOrReorderedAmongManyHosts) {
  constexpr int kHosts = 4;
  constexpr int kEach = 3000;
  queue_.SetBatchDelay(5);
  std::vector<std::thread> hosts;
  for (int host = 0; host < kHosts; ++host) {
    hosts.emplace_back([this, host] {
      for (int i = 0; i < kEach; ++i) {
        AddEvent(std::to_string(host) + ":" + std::to_string(i));
      }
    });
  }
  std::map<char, int> next;
  int total = 0;
  while (total < kHosts * kEach) {
    const std::vector<std::string> names = Take(10);
    ASSERT_FALSE(names.empty());
    for (const std::string& name : names) {
      ASSERT_EQ(name.substr(2), std::to_string(next[name[0]]++));
      ++total;
    }
  }
  for (std::thread& host : hosts) {
    host.join();
  }
}

}  // namespace
}  // namespace Tav
