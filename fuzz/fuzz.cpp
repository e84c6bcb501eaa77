#include "fuzz.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "util/json.h"
#include "util/logger.h"

namespace Tav::Fuzz {

namespace {

constexpr size_t kMaxLine = 2047;

std::atomic<size_t> complaints{0};

}  // namespace

void CheckLine(const char* line) {
  const std::string_view text(line);
  static const bool shown = std::getenv("TAV_FUZZ_LOG") != nullptr;
  if (shown) {
    std::fprintf(stderr, "%s\n", line);
  }
  Require(text.size() <= kMaxLine, "a log line has at most 2047 bytes");
  for (const char character : text) {
    // Blocks of several lines keep their newlines.
    Require(static_cast<unsigned char>(character) >= 0x20 || character == '\n' || character == '\t',
            "control characters are escaped in the log");
  }
  if (text.starts_with("warning: ") || text.starts_with("error: ")) {
    ++complaints;
  }
}

void Require(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "violated: %s\n", what);
    std::abort();
  }
}

bool IsJson(std::string_view text) {
  return static_cast<bool>(
      JsonPtr(json_loadb(text.data(), text.size(), JSON_DECODE_ANY | JSON_ALLOW_NUL, nullptr)));
}

size_t Complaints() {
  return complaints;
}

}  // namespace Tav::Fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Tav::ConfigureLogger(Tav::Fuzz::CheckLine, nullptr, true);
  Tav::Internal::logThreshold = static_cast<int>(Tav::LogLevel::Trace);
  return 0;
}
