#include "session/work_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"
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

  void AddEvent(std::string_view name, Urgency urgency = Urgency::Soon) {
    queue_.AddItem(MakeEventItem(Testing::Event(name)), urgency);
  }
  // How long one take lasted, in milliseconds; `count` gets what it delivered.
  int64_t TimedTake(int timeoutSeconds, int& count) {
    const int64_t start = Platform::MonotonicMilliseconds();
    count = queue_.TakeItems(timeoutSeconds).Count();
    return Platform::MonotonicMilliseconds() - start;
  }

  Idle* thread_ = new Idle;
  WorkQueue queue_{*thread_};
};

TEST_F(WorkQueueTest, TakesEverythingAtOnceInOrderWithoutWaiting) {
  for (const char* name : {"a", "b", "c"}) {
    AddEvent(name);
  }
  queue_.AddItem(MakeWorkItem(ItemCode::Commit), Urgency::Now);
  WorkList items = queue_.TakeItems(86400);
  EXPECT_EQ(items.Count(), 4);
  std::string order;
  while (const WorkItemPtr item = items.TakeFirst()) {
    order += item->event == nullptr ? "!" : item->event->name.CString();
  }
  EXPECT_EQ(order, "abc!");
  EXPECT_TRUE(queue_.TakeItems(0).Empty());
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
    queue_.AddItem(MakeWorkItem(ItemCode::Sync), Urgency::Now);
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
    WorkList items = queue_.TakeItems(10);
    ASSERT_FALSE(items.Empty());
    while (const WorkItemPtr item = items.TakeFirst()) {
      const std::string name(item->event->name.View());
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
