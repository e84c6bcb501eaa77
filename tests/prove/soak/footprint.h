// What a process takes.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace Prove {

inline std::int64_t EntriesOf(const std::filesystem::path& folder) {
  return std::distance(std::filesystem::directory_iterator(folder),
                       std::filesystem::directory_iterator());
}

struct Footprint {
  std::int64_t memory = 0;
  std::int64_t files = 0;
  std::int64_t threads = 0;

  explicit Footprint(pid_t process) {
    const std::filesystem::path folder = "/proc/" + std::to_string(process);
    std::int64_t whole = 0;
    std::ifstream(folder / "statm") >> whole >> memory;
    memory *= sysconf(_SC_PAGESIZE);
    files = EntriesOf(folder / "fd");
    threads = EntriesOf(folder / "task");
  }
  Footprint() = default;

  void Raise(const Footprint& other) {
    memory = std::max(memory, other.memory);
    files = std::max(files, other.files);
    threads = std::max(threads, other.threads);
  }
};

}  // namespace Prove
