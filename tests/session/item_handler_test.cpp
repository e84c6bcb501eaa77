// What becomes of the items that hosts queue, on the thread of a test.
#include "session/item_handler.h"

#include <string_view>
#include <utility>

#include "platform/file.h"
#include "platform/process.h"
#include "session/sending_fixture.h"

namespace Tav {
namespace {

using Testing::Gateway;
using Testing::Names;
using Testing::SessionParts;
using Testing::Wmi;

class ItemHandlerTest : public Testing::SendingFixture {};

struct Handling {
  Handling(const LibraryConfig& config, SessionParts& parts)
      : run(parts),
        recovery(config, run.consent, run.app, run.intake, run.builder, run.journal, run.delivery) {
  }

  void Report(std::string_view name) {
    TavEvent_s* const event = Testing::Event(name);
    run.queue.AddEvent(EncodedEvent(*event).Bytes());
    FreeHandle(event);
  }
  void Process(ItemCode code) {
    run.queue.AddItem(MakeWorkItem(code));
    items.ProcessWork(run.queue.TakeWork(0), ReadClocks());
  }

  SessionParts& run;
  Recovery recovery;
  RequestHandler requests{run.thread, run.delivery, recovery};
  ItemHandler items{run.queue, requests, run.app, run.intake, run.delivery};
};

// A host queues an item and an event while a Commit waits for the server.
TEST_F(ItemHandlerTest, EventsBehindWhatACommitLeftAreHandled) {
  SessionParts run(config_, Wmi("1"));
  EXPECT_TRUE(run.Send());
  Handling handling(config_, run);
  struct Host final : RecordStore::Meanwhile {
    explicit Host(Handling& parts) : handling(parts) {}
    void Serve() override {
      if (!std::exchange(reported, true)) {
        handling.run.queue.AddItem(MakeWorkItem(ItemCode::Suspend));
        handling.Report("two");
      }
      handling.items.Serve();
    }
    Handling& handling;
    bool reported = false;
  } host(handling);
  run.delivery.Store().SetMeanwhile(&host);
  handling.Report("one");
  handling.Process(ItemCode::Commit);
  run.delivery.Store().SetMeanwhile(nullptr);
  EXPECT_EQ(Gateway::Events(), Names{"one"});
  EXPECT_TRUE(handling.items.Suspended());
  EXPECT_EQ(run.delivery.Batch().Pending().Count(), 1) << "the second event";
}

// Hosts report events while there is no room for them.
TEST_F(ItemHandlerTest, RefusedEventsAreCounted) {
  SessionParts run(config_, Wmi("1"));
  Handling handling(config_, run);
  constexpr size_t kTooMuch = SegmentPool::kMaxBytes + 1;
  auto* const memory = static_cast<std::byte*>(Platform::AllocatePages(kTooMuch));
  ASSERT_NE(memory, nullptr);
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(run.queue.AddEvent({memory, kTooMuch}));
  }
  Platform::FreePages(memory, kTooMuch);
  handling.Report("one");
  handling.Process(ItemCode::Suspend);
  EXPECT_NE(log_.Find("warning: SM: Too many events wait. 2 new events were refused"), "");
  log_.Take();
  handling.Process(ItemCode::Resume);
  EXPECT_EQ(log_.Find("warning: SM: Too many events wait."), "") << "they are told once";
  EXPECT_EQ(run.delivery.Batch().Pending().Count(), 1);
}

// Another process holds the file longer than the thread waits for it.
TEST_F(ItemHandlerTest, SettingsAreDroppedWhileTheStorageFileIsLocked) {
  constexpr char kAnswer[] = R"({"flush_time": 17})";
  SessionParts run(config_, Wmi("1"));
  run.Log("one");
  EXPECT_TRUE(run.Send());
  {
    Platform::File other;
    const std::string path = Testing::StorageFolder::Utf8(folder_.Path("TavData"));
    ASSERT_EQ(other.Open(path.c_str(), Platform::FileUse::Update), Platform::OpenResult::Opened);
    ASSERT_TRUE(other.LockFirstByte());
    run.app.StoreFetchedSettings(kAnswer, "test://", 0);
    EXPECT_NE(log_.Find("warning: SM: The storage file is locked. Dropped the settings"), "");
  }
  EXPECT_EQ(folder_.Contents("TavData").find("flush_time"), std::string::npos);
  run.app.StoreFetchedSettings(kAnswer, "test://", StorageFile::kDefaultLockWait);
  EXPECT_NE(folder_.Contents("TavData").find("flush_time"), std::string::npos);
}

}  // namespace
}  // namespace Tav
