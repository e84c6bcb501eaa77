// Reads the records of one cache file. The cache writes chunks; older files hold JSON lines, which
// are compressed while they are read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "model/built_record.h"
#include "streams/chunk_stream.h"
#include "streams/stream.h"

namespace Tav {

class TavFile;

struct CacheFileContents {
  int64_t readBytes = 0;  // bytes of the file that became records
  uint32_t errors = 0;    // each one has been logged
};

// Appends the records in `input` to `records`: the chunks before the first damage, or all valid
// lines. Payloads of chunks are not expanded. A last payload that is whole but lacks its end mark
// becomes a record, too. Throws std::bad_alloc; `records` then has the records read so far.
CacheFileContents ReadCacheFile(InputStream* input, RecordList& records);

// Calls ReadCacheFile for a file that OpenAtomic has opened, and leaves it open. `records` is
// empty. After a read error, opens the file once more and reads it again; if it cannot be opened,
// there are no records. Bytes that could not be read are logged and counted as an error.
CacheFileContents ReadOpenCacheFile(TavFile& file, const std::string& path, RecordList& records);

// The length of the whole chunks at the beginning of `input`, in bytes. Logs nothing. Throws
// std::bad_alloc.
int64_t WholeChunkBytes(InputStream* input);

// The bytes that a payload takes in the file.
inline int64_t ChunkSize(size_t payloadBytes) {
  return static_cast<int64_t>(payloadBytes + kChunkOverhead);
}

}  // namespace Tav
