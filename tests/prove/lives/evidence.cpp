#include "prove/lives/evidence.h"

#include <cstdio>
#include <fstream>
#include <mutex>

namespace Tav::Testing {

namespace {

std::mutex lock;
std::FILE* output = nullptr;

void Put(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), output);
}

}  // namespace

void BeginEvidence(const std::string& path) {
  output = std::fopen(path.c_str(), "ab");
  if (output != nullptr) {
    std::setvbuf(output, nullptr, _IONBF, 0);
  }
}

void Add(Fact fact, std::string_view text) {
  const std::lock_guard guard(lock);
  if (output != nullptr) {
    const char head[] = {static_cast<char>(fact), ' '};
    Put({head, sizeof head});
    Put(text);
    Put("\n");
  }
}

Evidence::Evidence(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string line;
  while (std::getline(file, line) && !file.eof()) {
    facts[line[0]].push_back(line.size() > 2 ? line.substr(2) : std::string());
  }
}

const Lines& Evidence::Of(Fact fact) const {
  static const Lines nothing;
  const auto found = facts.find(static_cast<char>(fact));
  return found == facts.end() ? nothing : found->second;
}

}  // namespace Tav::Testing
