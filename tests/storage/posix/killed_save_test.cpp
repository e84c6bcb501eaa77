// Saves that end in the middle: processes that are killed, and a disk that takes no more.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <random>
#include <string>
#include <thread>

#include "storage/storage_views.h"
#include "support/storage_folder.h"

namespace Tav {
namespace {

using ProductEnvView = PersistentStorage::ProductEnvView;
using ProductView = PersistentStorage::ProductView;

constexpr char kPlatform[] = "wntx64";
constexpr char kCounter[] = "LastActive";
constexpr int kProducts = 5;
constexpr int kValues = 60;
constexpr int kKills = 60;

// A number that a child process shows to its parent, whatever becomes of the child.
class SharedNumber {
 public:
  SharedNumber()
      : number_(static_cast<std::atomic<int>*>(mmap(nullptr,
                                                    sizeof(std::atomic<int>),
                                                    PROT_READ | PROT_WRITE,
                                                    MAP_SHARED | MAP_ANONYMOUS,
                                                    -1,
                                                    0))) {}
  ~SharedNumber() { munmap(number_, sizeof(std::atomic<int>)); }
  SharedNumber(const SharedNumber&) = delete;
  SharedNumber& operator=(const SharedNumber&) = delete;

  std::atomic<int>& operator*() const { return *number_; }
  std::atomic<int>* operator->() const { return number_; }

 private:
  std::atomic<int>* number_;
};

// No file may become longer, as on a disk that is full.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  void (*handler_)(int);
  rlimit before_{};
};

std::string ProductName(int number) {
  return "App" + std::to_string(number);
}

// Makes the document with all products, the counter at 0 in each.
void MakeDocument() {
  PersistentStorage storage;
  ASSERT_TRUE(storage.Open(true));
  for (int number = 0; number < kProducts; ++number) {
    ProductView(&storage, ProductName(number), "1.0", kPlatform)
        .SetValue(kCounter, EnvValue::Number(0));
    ProductEnvView values(&storage, ProductName(number), "1.0", kPlatform, false);
    for (int value = 0; value < kValues; ++value) {
      values.SetValue("value." + std::to_string(value), std::string(40, 'v'));
    }
  }
  storage.CloseAndSave();
}

void SetCounters(PersistentStorage& storage, int count) {
  for (int number = 0; number < kProducts; ++number) {
    ProductView(&storage, ProductName(number), "1.0", kPlatform)
        .SetValue(kCounter, EnvValue::Number(count));
  }
}

// The counter of all products; -1 when they differ or anything is missing.
int ReadCounter() {
  PersistentStorage storage;
  EXPECT_TRUE(storage.Open(false));
  EXPECT_FALSE(storage.HadOpenError());
  int count = -1;
  for (int number = 0; number < kProducts; ++number) {
    ProductEnvView values(&storage, ProductName(number), "1.0", kPlatform, false);
    const ProductView product(&storage, ProductName(number), "1.0", kPlatform);
    const int own = static_cast<int>(product.GetValue(kCounter).number);
    if (values.Size() != kValues || (number > 0 && own != count)) {
      return -1;
    }
    count = own;
  }
  return count;
}

// The child's whole life: counts up, one save each.
[[noreturn]] void SaveForEver(int count, std::atomic<int>& saved) {
  PersistentStorage storage;
  for (;;) {
    storage.Open(true);
    SetCounters(storage, ++count);
    storage.CloseAndSave();
    saved = count;
  }
}

class KilledSaveTest : public testing::Test {
 protected:
  Testing::StorageFolder folder_;
};

TEST_F(KilledSaveTest, LosesNothingThatWasSavedBefore) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::minstd_rand random(seed);
  MakeDocument();
  const SharedNumber saved;
  *saved = 0;
  int count = 0;
  for (int kill = 0; kill < kKills; ++kill) {
    const int before = count;
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      SaveForEver(count, *saved);
    }
    // Every second one is killed inside its first saves, which mend what the last kill left.
    if (kill % 2 == 0) {
      const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
      while (*saved <= before && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
      }
      EXPECT_GT(*saved, before) << "kill " << kill;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 15000));
    ASSERT_EQ(::kill(child, SIGKILL), 0);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    count = ReadCounter();
    // The save that was interrupted may have come as far as to count.
    const int whole = std::max(before, saved->load());
    ASSERT_GE(count, whole) << "kill " << kill;
    ASSERT_LE(count, whole + 1) << "kill " << kill;
  }
}

TEST_F(KilledSaveTest, AFullDiskLeavesTheOldDocument) {
  const Testing::CapturedLog log;
  MakeDocument();
  const std::string before = folder_.Contents("TavData");
  PersistentStorage storage;
  ASSERT_TRUE(storage.Open(true));
  SetCounters(storage, 1);
  {
    const FileSizeLimit limit(before.size() / 2);
    storage.CloseAndSave();
  }
  EXPECT_TRUE(log.Find("error: ").starts_with("error: PS: Write error: ")) << log.Find("error: ");
  EXPECT_EQ(folder_.Contents("TavData"), before);
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("TavData.new")));
}

TEST_F(KilledSaveTest, MendingOnAFullDiskKeepsTheOnlyGoodCopy) {
  MakeDocument();
  const std::string good = folder_.Contents("TavData");
  folder_.Put("TavData.new", good);
  folder_.Put("TavData", good.substr(0, 100));
  for (int attempt = 1; attempt <= 2; ++attempt) {
    PersistentStorage storage;
    ASSERT_TRUE(storage.Open(true));
    SetCounters(storage, attempt);
    {
      const FileSizeLimit limit(good.size() / 2);
      storage.CloseAndSave();
    }
    EXPECT_EQ(folder_.Contents("TavData.new"), good);
    EXPECT_EQ(ReadCounter(), 0);
  }
}

}  // namespace
}  // namespace Tav
