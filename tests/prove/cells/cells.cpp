#include "prove/cells/cells.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <thread>

namespace Prove {
namespace {

struct Totals {
  int passed = 0;
  int failed = 0;
  int accepted = 0;
  int twice = 0;
  int lost = 0;
};

class Campaign {
 public:
  Campaign(std::vector<const Cell*> cells, const CellOptions& options)
      : cells_(std::move(cells)), options_(options) {}

  Totals Run() {
    std::vector<std::thread> threads;
    for (int i = 0; i < options_.jobs; ++i) {
      threads.emplace_back([this] { RunSome(); });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    return totals_;
  }

 private:
  void RunSome() {
    for (size_t index = next_++; index < cells_.size(); index = next_++) {
      RunOne(*cells_[index]);
    }
  }

  void RunOne(const Cell& cell) {
    std::string name = cell.name;
    for (char& letter : name) {
      letter = letter == '/' ? '-' : letter;
    }
    const std::string folder = options_.work + '/' + name;
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    const auto begin = std::chrono::steady_clock::now();
    CellResult result;
    try {
      result = cell.run(folder);
    } catch (const std::exception& failure) {
      result.problems.emplace_back(failure.what());
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    if (result.problems.empty()) {
      std::error_code ignored;
      std::filesystem::remove_all(folder, ignored);
    }
    Report(cell, result, time.count());
  }

  void Report(const Cell& cell, const CellResult& result, double seconds) {
    const std::lock_guard guard(lock_);
    const bool passed = result.problems.empty();
    (passed ? totals_.passed : totals_.failed) += 1;
    totals_.accepted += result.accepted;
    totals_.twice += result.twice;
    totals_.lost += result.lost;
    std::printf("%-6s %-38s %6.1f s  %s\n", passed ? "ok" : "FAILED", cell.name.c_str(), seconds,
                result.note.c_str());
    for (const std::string& problem : result.problems) {
      std::printf("       %s\n", problem.c_str());
    }
    std::fflush(stdout);
  }

  const std::vector<const Cell*> cells_;
  const CellOptions& options_;
  std::atomic<size_t> next_ = 0;
  std::mutex lock_;
  Totals totals_;  // guarded by lock_
};

}  // namespace

std::optional<CellOptions> ParseCellOptions(std::span<char* const> arguments) {
  CellOptions options;
  size_t at = 1;
  for (; at < arguments.size() && std::strcmp(arguments[at], "--") != 0; ++at) {
    const std::string option = arguments[at];
    if (option == "--short") {
      options.isShort = true;
    } else if (option == "--windows") {
      options.isWindows = true;
    } else if (at + 1 == arguments.size()) {
      break;
    } else if (option == "--jobs") {
      options.jobs = std::atoi(arguments[++at]);
    } else if (option == "--filter") {
      options.filter = arguments[++at];
    } else if (option == "--work") {
      options.work = std::filesystem::absolute(arguments[++at]).string();
    }
  }
  for (++at; at < arguments.size(); ++at) {
    options.host.emplace_back(arguments[at]);
  }
  if (options.work.empty() || options.host.empty() || options.jobs < 1) {
    std::fprintf(stderr,
                 "usage: %s [--short] [--windows] [--jobs N] [--filter TEXT] --work FOLDER -- "
                 "HOST...\n",
                 arguments[0]);
    return std::nullopt;
  }
  return options;
}

int RunCells(const std::vector<Cell>& cells, const CellOptions& options) {
  std::vector<const Cell*> chosen;
  for (const Cell& cell : cells) {
    if ((cell.isShort || !options.isShort) && cell.name.find(options.filter) != cell.name.npos) {
      chosen.push_back(&cell);
    }
  }
  const Totals totals = Campaign(chosen, options).Run();
  std::printf(
      "%s: %d of %zu cells %s; %d events accepted, %d arrived twice, %d lost as documented\n",
      totals.failed == 0 && !chosen.empty() ? "proved" : "failed", totals.passed, chosen.size(),
      options.isWindows ? "with the DLL" : "natively", totals.accepted, totals.twice, totals.lost);
  return totals.failed == 0 && !chosen.empty() ? 0 : 1;
}

}  // namespace Prove
