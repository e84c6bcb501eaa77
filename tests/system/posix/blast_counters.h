// How many events each thread of a host has reported, in a file that the host and the test map: to
// count costs the host one store, and the count survives it.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <new>
#include <string>

namespace Tav::Testing {

class BlastCounters {
 public:
  // Opens or creates the file.
  explicit BlastCounters(const std::string& path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    void* memory = MAP_FAILED;
    if (ftruncate(file, kSize) == 0) {
      memory = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    }
    if (memory == MAP_FAILED) {
      throw std::bad_alloc();
    }
    close(file);
    words_ = static_cast<int64_t*>(memory);
  }
  ~BlastCounters() { munmap(words_, kSize); }
  BlastCounters(const BlastCounters&) = delete;
  BlastCounters& operator=(const BlastCounters&) = delete;

  void Set(int thread, int64_t count) { Word(thread).store(count, std::memory_order_release); }
  int64_t Get(int thread) const { return Word(thread).load(std::memory_order_acquire); }

 private:
  static constexpr size_t kSize = 4096;

  // In cache lines of their own.
  std::atomic_ref<int64_t> Word(int thread) const {
    return std::atomic_ref<int64_t>(words_[thread * 8]);
  }

  int64_t* words_;
};

}  // namespace Tav::Testing
