// Replaces a cache file by one with fewer records, such that a crash loses none of them.
#pragma once

#include "cache/cache_directory.h"
#include "model/built_record.h"
#include "util/tav_file.h"

namespace Tav {

// Closes a file that OpenAtomic has opened, and replaces it by one that holds these records and has
// the same age. False if nothing has changed, which is logged.
bool RewriteCacheFile(CacheDirectory& directory,
                      int sequence,
                      TavFile& file,
                      const RecordList& records);

}  // namespace Tav
