// The store when the system fails it, as POSIX can make it fail.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "gateway/store/sqlite_store.h"
#include "gateway/store_fixture.h"
#include "support/temp_folder.h"

namespace Gateway {
namespace {

class SqliteFailureTest : public testing::Test {
 protected:
  std::string Path() const { return folder_.Path("tav.db"); }
  std::unique_ptr<SqliteStore> Open() const {
    SqliteOptions options;
    options.path = Path();
    return std::make_unique<SqliteStore>(std::move(options));
  }

  Tav::Testing::TempFolder folder_;
};

TEST_F(SqliteFailureTest, FailsWhileTheDiskIsFullAndKeepsWhatItHas) {
  const auto store = Open();
  AddAll(*store, {RecordText("a")});
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit small{1 << 20, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EventText event{.properties = R"("a":")" + std::string(4 << 20, 'x') + '"'};
  const AddResult result = AddRecord(*store, RecordOf(RecordText("b", event)));
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  EXPECT_EQ(result.outcome, AddOutcome::Failed);
  EXPECT_NE(result.reason, "");
  EXPECT_EQ(AddText(*store, RecordText("a")), AddOutcome::Double);
  EXPECT_EQ(AddText(*store, RecordText("b", event)), AddOutcome::Stored);
  EXPECT_EQ(RowsFor(*store, "names", kWriter), R"([["Open","event",2]])");
}

// Adds records until it is killed, and writes a line for each that the store has taken.
[[noreturn]] void AddUntilKilled(const std::string& path, int round, int out) {
  SqliteOptions options;
  options.path = path;
  SqliteStore store(std::move(options));
  constexpr int kMaxWaiting = 1000;  // far below what the store refuses
  std::atomic<int> answered{0};
  for (int i = 0;; ++i) {
    const std::string endpoint = std::to_string(round) + '-' + std::to_string(i);
    store.Add(RecordOf(RecordText(endpoint)), [out, endpoint, &answered](const AddResult& result) {
      const std::string line = endpoint + '\n';
      if (result.outcome != AddOutcome::Stored ||
          write(out, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        _exit(1);
      }
      ++answered;
    });
    while (i - answered > kMaxWaiting) {
      std::this_thread::yield();
    }
  }
}

TEST_F(SqliteFailureTest, KeepsWhatItHasTakenWhenItsProcessIsKilled) {
  std::set<std::string> taken;
  for (int round = 0; round < 3; ++round) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
      close(ends[0]);
      AddUntilKilled(Path(), round, ends[1]);
    }
    close(ends[1]);
    std::FILE* lines = fdopen(ends[0], "r");
    char line[64];
    for (int i = 0; std::fgets(line, sizeof line, lines) != nullptr; ++i) {
      taken.insert(std::string(line).substr(0, std::string(line).find('\n')));
      if (i == 300) {
        kill(child, SIGKILL);
      }
    }
    std::fclose(lines);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
  }
  const auto store = Open();
  Database database(Path(), Database::Access::Read, 1000);
  EXPECT_EQ(database.Integer("SELECT count(*) - count(DISTINCT endpoint) FROM records"), 0);
  EXPECT_EQ(
      database.Integer("SELECT (SELECT count(*) FROM records) - (SELECT count(*) FROM events)"), 0);
  for (const std::string& endpoint : taken) {
    EXPECT_EQ(AddText(*store, RecordText(endpoint)), AddOutcome::Double) << endpoint;
  }
  EXPECT_GT(taken.size(), 900U);
}

}  // namespace
}  // namespace Gateway
