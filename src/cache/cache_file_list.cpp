#include "cache/cache_file_list.h"

#include <algorithm>
#include <numeric>

namespace Tav {

namespace {

// The place of a sequence number: its file, or the one that it would stand before.
template <typename Files>
auto PlaceOf(Files& files, int sequence) {
  return std::lower_bound(files.begin(), files.end(), sequence,
                          [](const CacheFile& file, int wanted) { return file.sequence < wanted; });
}

}  // namespace

const CacheFile* CacheFileList::Find(int sequence) const {
  const auto place = PlaceOf(files_, sequence);
  return place != files_.end() && place->sequence == sequence ? &*place : nullptr;
}

int64_t CacheFileList::TotalSize() const {
  return std::accumulate(files_.begin(), files_.end(), int64_t{0},
                         [](int64_t sum, const CacheFile& file) { return sum + file.size; });
}

void CacheFileList::Put(const CacheFile& file) {
  const auto place = PlaceOf(files_, file.sequence);
  if (place != files_.end() && place->sequence == file.sequence) {
    *place = file;
  } else {
    files_.insert(place, file);
  }
}

void CacheFileList::Remove(int sequence) {
  const auto place = PlaceOf(files_, sequence);
  if (place != files_.end() && place->sequence == sequence) {
    files_.erase(place);
  }
}

}  // namespace Tav
