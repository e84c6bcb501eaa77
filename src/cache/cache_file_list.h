// The cache files that are known, oldest first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Tav {

struct CacheFile {
  static constexpr int64_t kUnknown = -1;

  int sequence = 0;
  int64_t size = 0;
  // The size at which the file is known to end with a whole chunk. Another size means that somebody
  // has written since.
  int64_t wholeSize = kUnknown;
};

class CacheFileList {
 public:
  bool Empty() const { return files_.empty(); }
  size_t Count() const { return files_.size(); }
  const CacheFile& At(size_t index) const { return files_[index]; }
  const CacheFile& Oldest() const { return files_.front(); }
  const CacheFile& Newest() const { return files_.back(); }
  // Null when there is none; valid until the list changes.
  const CacheFile* Find(int sequence) const;
  // The sum of the sizes in bytes.
  int64_t TotalSize() const;

  // Adds the file at its place, or replaces what was known of it. Throws std::bad_alloc.
  void Put(const CacheFile& file);
  void Remove(int sequence);
  void Clear() { files_.clear(); }

 private:
  std::vector<CacheFile> files_;
};

}  // namespace Tav
