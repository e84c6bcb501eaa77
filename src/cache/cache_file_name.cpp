#include "cache/cache_file_name.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace Tav {

namespace {

constexpr size_t kDigits = 4;

uint32_t HashOf(std::string_view identity) {
  uint32_t hash = 0;
  for (const char character : identity) {
    // Bytes are signed, whatever the compiler makes of char.
    hash = hash * 31 + static_cast<uint32_t>(static_cast<int8_t>(character));
  }
  return hash;
}

const char* StageLetter(Stage stage) {
  switch (stage) {
    case Stage::Development:
      return "D";
    case Stage::Internal:
      return "I";
    case Stage::Production:
      break;
  }
  return "";
}

std::string Prefix(const char* kind,
                   std::string_view product,
                   std::string_view version,
                   const Deployment& deployment) {
  char text[32];
  std::snprintf(text, sizeof text, "Tav%s%s_%08X_", StageLetter(deployment.Selected()), kind,
                HashOf(std::string(product).append(version)));
  return text;
}

}  // namespace

std::string CachePrefix(std::string_view product,
                        std::string_view version,
                        const Deployment& deployment) {
  return Prefix("Cache", product, version, deployment);
}

std::string JournalPrefix(std::string_view product,
                          std::string_view version,
                          const Deployment& deployment) {
  return Prefix("Journal", product, version, deployment);
}

std::string CacheFileName(std::string_view prefix, int sequence) {
  char digits[16];
  std::snprintf(digits, sizeof digits, "%04d", sequence);
  return std::string(prefix).append(digits);
}

int CacheSequence(std::string_view prefix, std::string_view name) {
  if (!name.starts_with(prefix) || name.size() != prefix.size() + kDigits) {
    return 0;
  }
  const std::string_view digits = name.substr(prefix.size());
  const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
  if (!std::all_of(digits.begin(), digits.end(), isDigit)) {
    return 0;
  }
  int sequence = 0;
  for (const char digit : digits) {
    sequence = sequence * 10 + (digit - '0');
  }
  return sequence;
}

}  // namespace Tav
