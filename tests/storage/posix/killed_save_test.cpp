// Saves that end half-way: processes that are killed, and a full disk.
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <new>
#include <random>
#include <thread>

#include "storage/storage_fixture.h"

namespace Tav {
namespace {

using namespace Testing;

constexpr char kCounter[] = "LastActive";
constexpr int kProducts = 5;
constexpr int kValues = 60;
constexpr int kKills = 60;

// A number, 0 at first, in memory that child processes share. Never freed.
std::atomic<int>& SharedNumber() {
  void* const memory = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  return *new (memory) std::atomic<int>(0);
}

ProductIdentity NumberedProduct(int number) {
  return Product("App" + std::to_string(number));
}

void SetCounters(PersistentStorage& storage, int count) {
  for (int number = 0; number < kProducts; ++number) {
    ProductView(&storage, NumberedProduct(number), Access::Update)
        .SetValue(kCounter, EnvValue::Number(count));
  }
}

// The counter of all products; -1 when they differ or values are missing.
int ReadCounter() {
  PersistentStorage storage;
  EXPECT_TRUE(storage.Open(Access::Read));
  EXPECT_FALSE(storage.HadOpenError());
  int count = -1;
  for (int number = 0; number < kProducts; ++number) {
    const ProductIdentity product = NumberedProduct(number);
    const int own =
        static_cast<int>(ProductView(&storage, product, Access::Read).GetValue(kCounter).number);
    if (ProductEnvView(&storage, product, Section::Values, Access::Read).Size() != kValues ||
        (number > 0 && own != count)) {
      return -1;
    }
    count = own;
  }
  return count;
}

// The child process: counts up, with one save for each number.
[[noreturn]] void SaveForEver(int count, std::atomic<int>& saved) {
  PersistentStorage storage;
  for (;;) {
    storage.Open(Access::Update);
    SetCounters(storage, ++count);
    storage.CloseAndSave();
    saved = count;
  }
}

class KilledSaveTest : public StorageTest {
 protected:
  // Creates all products with the counter at 0.
  void MakeDocument() {
    Change([this] {
      SetCounters(storage_, 0);
      for (int number = 0; number < kProducts; ++number) {
        ProductEnvView values(&storage_, NumberedProduct(number), Section::Values, Access::Update);
        for (int value = 0; value < kValues; ++value) {
          values.SetValue("value." + std::to_string(value), std::string(40, 'v'));
        }
      }
    });
  }

  // Sets the counters and saves while no file can grow beyond half of the document's size.
  void SaveOnFullDisk(int count, size_t documentSize) {
    ASSERT_TRUE(storage_.Open(Access::Update));
    SetCounters(storage_, count);
    rlimit unlimited{};
    getrlimit(RLIMIT_FSIZE, &unlimited);
    const rlimit limit{documentSize / 2, unlimited.rlim_max};
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
    storage_.CloseAndSave();
    setrlimit(RLIMIT_FSIZE, &unlimited);
    signal(SIGXFSZ, handler);
  }
};

TEST_F(KilledSaveTest, LosesNothingThatWasSavedBefore) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::minstd_rand random(seed);
  MakeDocument();
  std::atomic<int>& saved = SharedNumber();
  int count = 0;
  for (int kill = 0; kill < kKills; ++kill) {
    const int before = count;
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      SaveForEver(count, saved);
    }
    // Every second child is killed during its first saves, which repair what the last kill left.
    if (kill % 2 == 0) {
      const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
      while (saved <= before && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
      }
      EXPECT_GT(saved, before) << "kill " << kill;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 15000));
    ASSERT_EQ(::kill(child, SIGKILL), 0);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    count = ReadCounter();
    // The interrupted save may have written the next number.
    const int whole = std::max(before, saved.load());
    ASSERT_GE(count, whole) << "kill " << kill;
    ASSERT_LE(count, whole + 1) << "kill " << kill;
  }
}

TEST_F(KilledSaveTest, AFullDiskLeavesTheOldDocument) {
  MakeDocument();
  const std::string before = folder_.Contents("TavData");
  SaveOnFullDisk(1, before.size());
  EXPECT_TRUE(log_.Find("error: ").starts_with("error: PS: Write error: ")) << log_.Find("error: ");
  EXPECT_EQ(folder_.Contents("TavData"), before);
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("TavData.new")));
}

TEST_F(KilledSaveTest, ARepairOnAFullDiskKeepsTheOnlyWholeCopy) {
  MakeDocument();
  const std::string good = folder_.Contents("TavData");
  folder_.Put("TavData.new", good);
  folder_.Put("TavData", good.substr(0, 100));
  for (int attempt = 1; attempt <= 2; ++attempt) {
    SaveOnFullDisk(attempt, good.size());
    EXPECT_EQ(folder_.Contents("TavData.new"), good);
    EXPECT_EQ(ReadCounter(), 0);
  }
}

}  // namespace
}  // namespace Tav
