// What stands in a product's cache on disk, read without consuming it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Tav::Testing {

struct CacheContents {
  std::vector<std::string> files;   // names
  std::vector<std::string> events;  // names of those in records that the library will find
  int tornFiles = 0;                // whose last chunk is not whole
  // What must not be there, in words: records that do not expand, and anything behind a torn chunk,
  // where the library does not find it.
  std::vector<std::string> faults;
};

// `folder` is the storage folder. Nobody may write to it meanwhile.
CacheContents ReadCache(const std::filesystem::path& folder);

}  // namespace Tav::Testing
