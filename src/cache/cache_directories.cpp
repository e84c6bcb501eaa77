#include "cache/cache_directories.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "cache/cache_file_name.h"
#include "util/tav_file.h"

namespace Tav {

CacheDirectories::CacheDirectories(std::string path, std::string ownPrefix) {
  directories_.emplace_back(std::move(path), std::move(ownPrefix));
}

// The prefixes of two versions may have the same hash.
void CacheDirectories::AddVersion(const std::string& prefix) {
  const bool known = std::ranges::any_of(directories_, [&prefix](const CacheDirectory& directory) {
    return directory.Prefix() == prefix;
  });
  if (!known) {
    directories_.emplace_back(Own().Path(), prefix);
  }
}

size_t CacheDirectories::FileCount() const {
  size_t count = 0;
  for (const CacheDirectory& directory : directories_) {
    count += directory.Files().size();
  }
  return count;
}

int64_t CacheDirectories::TotalSize() const {
  int64_t bytes = 0;
  for (const CacheDirectory& directory : directories_) {
    bytes += directory.TotalSize();
  }
  return bytes;
}

// A product may have many versions, but few of them have left files.
void CacheDirectories::DropEmpty() {
  if (directories_.size() == 1) {
    return;
  }
  const std::vector<std::string> names = TavFile::ReadDirectory(Own().Path().c_str());
  directories_.remove_if([&](const CacheDirectory& directory) {
    return &directory != &Own() && std::ranges::none_of(names, [&](const std::string& name) {
      return CacheSequence(directory.Prefix(), name) != 0;
    });
  });
}

CacheDirectory::Scan CacheDirectories::ScanFiles(int64_t now) {
  DropEmpty();
  CacheDirectory::Scan all;
  for (CacheDirectory& directory : directories_) {
    const CacheDirectory::Scan scan = directory.ScanFiles(now);
    if (scan.oldestTime != 0 && (all.oldestTime == 0 || scan.oldestTime < all.oldestTime)) {
      all.oldestTime = scan.oldestTime;
    }
    all.agedFiles += scan.agedFiles;
    all.errors += scan.errors;
  }
  return all;
}

void CacheDirectories::Refresh(int64_t now) {
  for (CacheDirectory& directory : directories_) {
    directory.Refresh(now);
  }
}

}  // namespace Tav
