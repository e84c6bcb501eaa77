// A journal that is cut short under the process: its pages cannot be loaded any more.
#include <algorithm>
#include <filesystem>

#include "platform/lost_pages.h"
#include "session/session_fixture.h"

namespace Tav::Testing {
namespace {

class LostJournalTest : public SessionManagerTest {
 protected:
  ~LostJournalTest() override { Stop(); }

  void CutJournals() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path(""))) {
      if (entry.path().filename().string().starts_with("TavJournal_")) {
        std::filesystem::resize_file(entry.path(), 0);
      }
    }
  }
};

TEST_F(LostJournalTest, TheRunGoesOnAndDeliversWhatIsReported) {
  TAV_NEEDS_GUARDED_COPIES();
  Start();
  Log("one");
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  CutJournals();
  Log("two");
  Log("three");
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  Gateway::refuse = true;
  Log("four");
  Stop();
  Gateway::refuse = false;
  const Names lines = log_.Take();
  EXPECT_EQ(
      std::ranges::count_if(
          lines,
          [](const auto& line) {
            return line.starts_with("warning: SM: The journal 'TavJournal_") &&
                   line.ends_with("cannot be accessed any more. New events are kept in memory");
          }),
      1);
  Run({});
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "one", "two", "three", "four", "$e"}));
}

}  // namespace
}  // namespace Tav::Testing
