// Several processes with one cache, processes that are killed, a disk that is full, and a file that
// cannot be opened.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <map>

#include "cache/cache_fixture.h"

namespace Tav {
namespace {

using Testing::CacheTest;
using Testing::CapturedLog;
using Testing::Chunk;
using Testing::RecordsOf;
using Testing::Texts;
using Testing::TextsOf;

// Runs `body` in a child, which writes lines to the pipe whose end is `output`.
class Child {
 public:
  explicit Child(const std::function<void(int pipe)>& body) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    id_ = fork();
    if (id_ == 0) {
      close(ends[0]);
      body(ends[1]);
      _exit(0);
    }
    close(ends[1]);
    output_ = fdopen(ends[0], "r");
  }
  ~Child() {
    if (!waited_) {
      Wait();
    }
    fclose(output_);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // The next line without its end; empty when there is none.
  std::string Line() {
    char line[256] = {};
    if (fgets(line, sizeof line, output_) == nullptr) {
      return {};
    }
    std::string text = line;
    if (!text.ends_with('\n')) {
      return {};
    }
    text.pop_back();
    return text;
  }
  void Kill() const { kill(id_, SIGKILL); }
  int Wait() {
    int status = 0;
    waitpid(id_, &status, 0);
    waited_ = true;
    return status;
  }

 private:
  pid_t id_ = -1;
  FILE* output_ = nullptr;
  bool waited_ = false;
};

void Say(int pipe, const std::string& line) {
  const std::string text = line + '\n';
  if (write(pipe, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    _exit(2);
  }
}

// The part of a record's text that tells which one it is.
std::string IdOf(const std::string& text) {
  return text.substr(0, text.find(' '));
}

TEST_F(CacheTest, FourProcessesLoseAndDoubleNothing) {
  constexpr int kProcesses = 4;
  constexpr int kRecords = 200;
  std::vector<std::unique_ptr<Child>> children;
  for (int process = 0; process < kProcesses; ++process) {
    children.push_back(std::make_unique<Child>([&](int pipe) {
      CacheManager cache = Manager(5000, 3000);
      RecordList waiting;
      for (int i = 0; i < kRecords; ++i) {
        const std::string id = std::to_string(process) + '.' + std::to_string(i);
        waiting.Append(Testing::RecordOf(id + ' ' + std::string(static_cast<size_t>(i) * 7, 'x')));
        cache.Append(waiting);
        if (i % 10 == process) {
          RecordList loaded;
          cache.Load(loaded);
          for (const std::string& text : TextsOf(loaded)) {
            Say(pipe, IdOf(text));
          }
        }
      }
      for (const std::string& text : TextsOf(waiting)) {
        Say(pipe, IdOf(text));
      }
      Say(pipe, cache.Disabled() ? "disabled" : "done");
    }));
  }
  std::map<std::string, int> seen;
  for (const auto& child : children) {
    std::string line = child->Line();
    for (; !line.empty() && line != "done"; line = child->Line()) {
      ++seen[line];
    }
    EXPECT_EQ(line, "done");
    EXPECT_EQ(child->Wait(), 0);
  }
  for (const std::string& text : LoadAll()) {
    ++seen[IdOf(text)];
  }
  EXPECT_EQ(seen.size(), size_t{kProcesses * kRecords});
  for (const auto& [id, times] : seen) {
    EXPECT_EQ(times, 1) << id;
  }
}

TEST_F(CacheTest, AKilledProcessLosesNothingThatItHadStored) {
  const std::string body(100000, 'b');
  std::map<std::string, int> stored;
  for (int round = 0; round < 30; ++round) {
    Child child([&](int pipe) {
      CacheManager cache = Manager(5000, 1000000);
      for (int i = 0;; ++i) {
        const std::string id = std::to_string(round) + '.' + std::to_string(i);
        RecordList records = RecordsOf({id + ' ' + body});
        if (!cache.Append(records)) {
          _exit(1);
        }
        Say(pipe, id);
      }
    });
    std::string id = child.Line();
    ASSERT_NE(id, "");
    // Every round ends at another moment of the appends, which take about this long.
    const auto moment = std::chrono::steady_clock::now() + std::chrono::microseconds(round * 41);
    while (std::chrono::steady_clock::now() < moment) {
    }
    child.Kill();
    for (; !id.empty(); id = child.Line()) {
      ++stored[id];
    }
    child.Wait();
  }
  const Texts names = Names();
  RecordProperty("TornFiles", static_cast<int>(std::count_if(
                                  names.begin(), names.end(), [this](const std::string& name) {
                                    return !Contents(name).ends_with('\x1D');
                                  })));
  std::map<std::string, int> loaded;
  for (const std::string& text : LoadAll()) {
    ++loaded[IdOf(text)];
  }
  for (const auto& [id, times] : stored) {
    EXPECT_EQ(loaded[id], times) << id;
  }
}

TEST_F(CacheTest, AFileThatCannotBeOpenedDisablesAndStays) {
  ASSERT_EQ(mknod(PathOf(1).c_str(), S_IFSOCK | 0600, 0), 0);
  const CapturedLog log;
  CacheManager cache = Manager();
  RecordList records = RecordsOf({"good"});
  EXPECT_TRUE(cache.Append(records)) << "the next number is free";
  EXPECT_EQ(Names(), (Texts{Name(1), Name(2)}));
  EXPECT_FALSE(cache.Disabled());
  cache.Load(records);
  EXPECT_EQ(TextsOf(records), Texts{"good"});
  EXPECT_TRUE(cache.Disabled());
  EXPECT_EQ(log.Find("warning: CM:"), "warning: CM: Could not open cache file '" + PathOf(1) +
                                          "' to load. Cache disabled: 1");
  EXPECT_FALSE(cache.Append(records));
  EXPECT_EQ(Names(), Texts{Name(1)});
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

TEST_F(CacheTest, GivesBackWhatAFullDiskDidNotTake) {
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
    EXPECT_NE(log.Find("warning: CM: Cannot write to cache file '" + PathOf(1) + "': Write error"),
              "");
    EXPECT_EQ(cache.TotalSize(), 6500) << "what the disk holds counts";
    EXPECT_FALSE(cache.Disabled());
  }
  {
    const FileSizeLimit limit(1000);
    for (int i = 0; i < 3; ++i) {
      EXPECT_FALSE(cache.Append(records));
    }
    EXPECT_EQ(TextsOf(records), Texts{c});
    EXPECT_EQ(Names(), Texts{Name(1)}) << "no heap of torn files";
  }
  {
    const FileSizeLimit limit(0);
    for (int i = 0; i < 3; ++i) {
      EXPECT_FALSE(cache.Append(records));
    }
    EXPECT_EQ(Names(), (Texts{Name(1), Name(2)}));
  }
  EXPECT_TRUE(cache.Append(records));
  EXPECT_EQ(Contents(Name(2)), Chunk(c));
  EXPECT_EQ(LoadAll(), (Texts{a, b, c}));
}

}  // namespace
}  // namespace Tav
