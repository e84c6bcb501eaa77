// The cache files of all versions of one product: after an upgrade, a run sends what earlier
// versions could not send. The versions are loaded one after the other, the run's own version
// first. Age and limits apply to all files together. Records are appended to files of the own
// version only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "cache/cache_directory.h"

namespace Tav {

// As CacheDirectory.
class CacheDirectories {
 public:
  CacheDirectories(std::string path, std::string ownPrefix);

  void AddVersion(const std::string& prefix);

  CacheDirectory& Own() { return directories_.front(); }
  const CacheDirectory& Own() const { return directories_.front(); }
  auto begin() { return directories_.begin(); }
  auto end() { return directories_.end(); }
  // The size of all known files, in bytes.
  size_t FileCount() const;
  int64_t TotalSize() const;

  // Drops versions without files. References to them become invalid.
  CacheDirectory::Scan ScanFiles(int64_t now);
  void Refresh(int64_t now);

  // The file that a full cache deletes first. Never the newest own one, nor one for which
  // `isHeld(directory, sequence)` is true. Files of one version are ordered by number, the versions
  // by time. Null for none.
  template <typename IsHeld>
  CacheDirectory* FindOldest(IsHeld isHeld, CacheFile& oldest);

 private:
  void DropEmpty();

  std::list<CacheDirectory> directories_;  // the first is the own one
};

template <typename IsHeld>
CacheDirectory* CacheDirectories::FindOldest(IsHeld isHeld, CacheFile& oldest) {
  CacheDirectory* found = nullptr;
  for (CacheDirectory& directory : directories_) {
    const std::vector<CacheFile>& files = directory.Files();
    const size_t kept = &directory == &Own() ? 1 : 0;
    size_t first = 0;
    while (first + kept < files.size() && isHeld(directory, files[first].sequence)) {
      ++first;
    }
    const bool deletable = first + kept < files.size();
    if (deletable && (found == nullptr || files[first].modifiedAt < oldest.modifiedAt)) {
      found = &directory;
      oldest = files[first];
    }
  }
  return found;
}

}  // namespace Tav
