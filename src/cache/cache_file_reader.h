// Reads the records of one cache file, in either of its layouts: chunks, as they are written, and
// the older one of JSON lines, which is converted.
#pragma once

#include <cstdint>

#include "model/built_record.h"
#include "streams/stream.h"

namespace Tav {

struct CacheFileContents {
  int64_t readBytes = 0;  // bytes of the file that came through: all but the unreadable ones
  uint32_t errors = 0;    // each one has been logged
};

// Appends what can be read of the file in `input` to `records`: of chunks everything before the
// first damage, of lines every good one. A payload is taken as it is, not expanded. Throws
// std::bad_alloc; `records` then has what was read before.
CacheFileContents ReadCacheFile(InputStream* input, RecordList& records);

// How far whole chunks reach from the beginning of `input`, in bytes. Keeps and logs nothing.
// Throws std::bad_alloc.
int64_t WholeChunkBytes(InputStream* input);

}  // namespace Tav
