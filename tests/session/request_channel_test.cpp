#include "session/request_channel.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "support/eventually.h"

namespace Tav {
namespace {

using Answer = RequestChannel::Answer;

// Answers each request with its argument, doubled.
class DoublingThread final : public Thread {
 public:
  Answer Double(int number, int& result) {
    return channel_.Ask(
        ItemCode::PushData, "Double", [&] { argument_ = number; }, [&] { result = answer_; });
  }
  void Stop() { queue_.AddItem(MakeWorkItem(ItemCode::Term)); }

 private:
  ~DoublingThread() override = default;
  void Main() override {
    while (Serve(queue_.TakeWork(1).items)) {
    }
  }
  // False after the last item.
  bool Serve(WorkList items) {
    while (const WorkItemPtr item = items.TakeFirst()) {
      if (item->code == ItemCode::Term) {
        return false;
      }
      answer_ = 2 * argument_;
      WakeReady();
    }
    return true;
  }

  WorkQueue queue_{*this};
  RequestChannel channel_{*this, queue_};
  int argument_ = 0;
  int answer_ = 0;
};

TEST(RequestChannelTest, EachHostGetsTheAnswerToItsOwnRequestUntilTheThreadEnds) {
  auto* const doubling = new DoublingThread;
  ASSERT_TRUE(doubling->Run());
  std::vector<std::thread> hosts;
  for (int host = 0; host < 4; ++host) {
    hosts.emplace_back([doubling, host] {
      for (int i = 0; i < 100; ++i) {
        const int number = 1000 * host + i;
        int result = 0;
        EXPECT_EQ(doubling->Double(number, result), Answer::Given);
        EXPECT_EQ(result, 2 * number);
      }
    });
  }
  for (std::thread& host : hosts) {
    host.join();
  }
  doubling->Stop();
  EXPECT_TRUE(Testing::Eventually([doubling] { return doubling->Ended(); }));
  int result = 0;
  EXPECT_EQ(doubling->Double(1, result), Answer::None);
  doubling->Release();
}

}  // namespace
}  // namespace Tav
