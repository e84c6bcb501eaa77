// Several processes with one cache, killed processes, a full disk, and a file that cannot be
// opened.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <map>
#include <string_view>

#include "cache/cache_fixture.h"

namespace Tav::Testing {
namespace {

class CacheProcessesTest : public CacheFixture {};

struct Child {
  pid_t id = -1;
  FILE* output = nullptr;
};

// Starts a child process that runs `body`, which writes lines to the pipe.
Child StartChild(const std::function<void(int pipe)>& body) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  const pid_t id = fork();
  if (id == 0) {
    close(ends[0]);
    body(ends[1]);
    _exit(0);
  }
  close(ends[1]);
  return {id, fdopen(ends[0], "r")};
}

int WaitFor(const Child& child) {
  fclose(child.output);
  int status = 0;
  waitpid(child.id, &status, 0);
  return status;
}

// The next whole line without its end; empty when there is none.
std::string ReadLine(const Child& child) {
  char line[256] = {};
  const bool read = fgets(line, sizeof line, child.output) != nullptr;
  const std::string_view text = line;
  return read && text.ends_with('\n') ? std::string(text.substr(0, text.size() - 1)) : "";
}

void WriteLine(int pipe, const std::string& line) {
  const std::string text = line + '\n';
  if (write(pipe, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    _exit(2);
  }
}

// The text of a record begins with its identifier.
std::string IdOf(const std::string& text) {
  return text.substr(0, text.find(' '));
}

TEST_F(CacheProcessesTest, FourProcessesLoseAndDuplicateNothing) {
  constexpr int kProcesses = 4;
  constexpr int kRecords = 200;
  std::vector<Child> children;
  for (int process = 0; process < kProcesses; ++process) {
    children.push_back(StartChild([&](int pipe) {
      CacheManager cache = Manager();
      cache.SetLimits(5000, 3000);
      RecordList waiting;
      for (int i = 0; i < kRecords; ++i) {
        const std::string id = std::to_string(process) + '.' + std::to_string(i);
        const std::string body(static_cast<size_t>(i) * 7, 'x');
        waiting.Append(RecordsOf({id + ' ' + body}).TakeFirst());
        cache.Append(waiting);
        if (i % 10 == process) {
          for (const std::string& text : LoadFrom(cache)) {
            WriteLine(pipe, IdOf(text));
          }
        }
      }
      for (const std::string& text : TextsOf(waiting)) {
        WriteLine(pipe, IdOf(text));
      }
      WriteLine(pipe, cache.Disabled() ? "disabled" : "done");
    }));
  }
  std::map<std::string, int> seen;
  for (const Child& child : children) {
    std::string line = ReadLine(child);
    for (; !line.empty() && line != "done"; line = ReadLine(child)) {
      ++seen[line];
    }
    EXPECT_EQ(line, "done");
    EXPECT_EQ(WaitFor(child), 0);
  }
  for (const std::string& text : LoadAll()) {
    ++seen[IdOf(text)];
  }
  EXPECT_EQ(seen.size(), size_t{kProcesses * kRecords});
  for (const auto& [id, times] : seen) {
    EXPECT_EQ(times, 1) << id;
  }
}

TEST_F(CacheProcessesTest, AKilledProcessLosesNothingItHasStored) {
  const std::string body(100000, 'b');
  Texts stored;
  for (int round = 0; round < 30; ++round) {
    const Child child = StartChild([&](int pipe) {
      CacheManager cache = Manager();
      cache.SetLimits(5000, 1000000);
      for (int i = 0;; ++i) {
        const std::string id = std::to_string(round) + '.' + std::to_string(i);
        RecordList records = RecordsOf({id + ' ' + body});
        if (!cache.Append(records)) {
          _exit(1);
        }
        WriteLine(pipe, id);
      }
    });
    std::string id = ReadLine(child);
    ASSERT_NE(id, "");
    // Each round kills the process at another point of an append.
    const auto moment = std::chrono::steady_clock::now() + std::chrono::microseconds(round * 41);
    while (std::chrono::steady_clock::now() < moment) {
    }
    kill(child.id, SIGKILL);
    for (; !id.empty(); id = ReadLine(child)) {
      stored.push_back(id);
    }
    WaitFor(child);
  }
  std::map<std::string, int> loaded;
  for (const std::string& text : LoadAll()) {
    ++loaded[IdOf(text)];
  }
  for (const std::string& id : stored) {
    EXPECT_EQ(loaded[id], 1) << id;
  }
}

// Sockets stand for files that can be neither opened nor deleted.
TEST_F(CacheProcessesTest, AFileThatCannotBeOpenedIsPassedOver) {
  const CapturedLog log;
  ASSERT_EQ(mknod(PathText(1).c_str(), S_IFSOCK | 0600, 0), 0);
  Put(2, Chunk("good"));
  CacheManager cache = Manager();
  const uint32_t errors = CacheManager::ErrorCount();
  for (int i = 0; i < 2; ++i) {
    RecordList records;
    EXPECT_EQ(cache.Lease(records), i == 0);
    EXPECT_EQ(TextsOf(records), i == 0 ? Texts{"good"} : Texts{});
    if (cache.HasLease()) {
      cache.EndLease();
    }
  }
  EXPECT_EQ(log.Find("warning: CM:"), "warning: CM: Could not open cache file '" + PathText(1) +
                                          "' to load. Cache disabled: 0");
  EXPECT_EQ(CacheManager::ErrorCount(), errors + 1) << "tried once";
  EXPECT_FALSE(cache.Disabled());

  Store(cache, {"new"});
  EXPECT_EQ(Names(), (Texts{Name(1), Name(2)}));
  ASSERT_EQ(mknod(PathText(3).c_str(), S_IFSOCK | 0600, 0), 0);
  Store(cache, {"newer"});
  Store(cache, {"newest"});
  EXPECT_EQ(Contents(4), Chunk("newer") + Chunk("newest"));
  EXPECT_EQ(CacheManager::ErrorCount(), errors + 2);
  EXPECT_EQ(LoadFrom(cache), (Texts{"new", "newer", "newest"}));
}

TEST_F(CacheProcessesTest, AFullCachePassesOverAFileThatCannotBeDeleted) {
  const CapturedLog log;
  ASSERT_EQ(mknod(PathText(1).c_str(), S_IFSOCK | 0600, 0), 0);
  const std::string full(20, 'f');
  Put(2, Chunk(full));
  CacheManager cache = Manager();
  cache.SetLimits(2, 25);
  Store(cache, {"a" + full, "b" + full});
  EXPECT_EQ(log.Find("warning: CM: Cannot"), "warning: CM: Cannot delete cache file '" +
                                                 PathText(1) +
                                                 "'. It is passed over - (13) Permission denied");
  EXPECT_FALSE(cache.Disabled());
  EXPECT_EQ(Names(), (Texts{Name(1), Name(4)}));
  Store(cache, {"c" + full});
  EXPECT_EQ(Names(), (Texts{Name(1), Name(5)}));
}

TEST_F(CacheProcessesTest, AProcessKilledWhileItSendsLosesNothing) {
  Put(1, Chunk("one"));
  const Child child = StartChild([&](int pipe) {
    CacheManager cache = Manager();
    RecordList records;
    WriteLine(pipe, cache.Lease(records) ? "open" : "failed");
    pause();
  });
  EXPECT_EQ(ReadLine(child), "open");
  EXPECT_EQ(LoadAll(), Texts{}) << "in use";
  kill(child.id, SIGKILL);
  WaitFor(child);
  EXPECT_EQ(LoadAll(), Texts{"one"});
}

// No file of this process grows beyond `size`, as if the disk were full.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t size) {
    signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit now = before_;
    now.rlim_cur = size;
    setrlimit(RLIMIT_FSIZE, &now);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_{};
};

TEST_F(CacheProcessesTest, AFullDiskLeavesRecordsInTheList) {
  const CapturedLog log;
  const std::string a(3000, 'a');
  const std::string b(3000, 'b');
  const std::string c(3000, 'c');
  CacheManager cache = Manager();
  RecordList records = RecordsOf({a, b, c});
  {
    const FileSizeLimit limit(6500);
    const uint32_t errors = CacheManager::ErrorCount();
    EXPECT_FALSE(cache.Append(records));
    EXPECT_EQ(TextsOf(records), Texts{c}) << "two are stored whole";
    EXPECT_EQ(CacheManager::ErrorCount(), errors + 1);
    EXPECT_NE(
        log.Find("warning: CM: Cannot write to cache file '" + PathText(1) + "': Write error"), "");
    EXPECT_EQ(cache.TotalSize(), 6500) << "with the torn record";
    EXPECT_FALSE(cache.Disabled());
  }
  {
    const FileSizeLimit limit(3004);
    RecordList two = RecordsOf({a, b});
    EXPECT_FALSE(cache.Append(two));
    EXPECT_EQ(TextsOf(two), Texts{b}) << "only the end mark is missing";
    EXPECT_EQ(Contents(2), Chunk(a).substr(0, 3004));
    std::filesystem::remove(PathOf(2));
  }
  {
    const FileSizeLimit limit(1000);
    for (int i = 0; i < 3; ++i) {
      EXPECT_FALSE(cache.Append(records));
    }
    EXPECT_EQ(TextsOf(records), Texts{c});
    EXPECT_EQ(Names(), Texts{Name(1)}) << "a torn file that holds no record is deleted";
  }
  {
    const FileSizeLimit limit(0);
    for (int i = 0; i < 3; ++i) {
      EXPECT_FALSE(cache.Append(records));
    }
    EXPECT_EQ(Names(), (Texts{Name(1), Name(2)}));
  }
  EXPECT_TRUE(cache.Append(records));
  EXPECT_EQ(Contents(2), Chunk(c));
  EXPECT_EQ(LoadAll(), (Texts{a, b, c}));
}

}  // namespace
}  // namespace Tav::Testing
