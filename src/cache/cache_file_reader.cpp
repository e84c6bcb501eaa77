#include "cache/cache_file_reader.h"

#include <memory>
#include <utility>
#include <vector>

#include "platform/file.h"
#include "streams/file_stream.h"
#include "streams/filter_stream.h"
#include "streams/gzip_stream.h"
#include "streams/json_stream.h"
#include "streams/memory_stream.h"
#include "util/logger.h"
#include "util/tav_file.h"

namespace Tav {

namespace {

constexpr int32_t kLineLayoutBegin = '{';

// Counts what is read through it.
class CountingInputStream : public FilterInputStream {
 public:
  explicit CountingInputStream(InputStream* inner) : FilterInputStream(inner) {}

  int32_t ReadByte() override {
    const int32_t byte = Inner()->ReadByte();
    count_ += byte >= 0 ? 1 : 0;
    return byte;
  }
  size_t Read(void* buffer, size_t count) override {
    const size_t got = Inner()->Read(buffer, count);
    count_ += static_cast<int64_t>(got);
    return got;
  }
  int64_t Count() const { return count_; }

 private:
  int64_t count_ = 0;
};

void ReadChunks(InputStream* input, RecordList& records, CacheFileContents& contents) {
  ChunkInputStream chunks(input);
  for (;;) {
    auto record = std::make_unique<BuiltRecord>();
    switch (chunks.ReadChunk(record->bytes)) {
      case ChunkResult::Chunk:
        contents.readBytes += ChunkSize(record->bytes.size());
        record->fileEnd = contents.readBytes;
        records.Append(std::move(record));
        break;
      case ChunkResult::NoEndMark:
        LogWarning("CM: Error reading chunk data: %s", chunks.ErrorText());
        ++contents.errors;
        contents.readBytes += ChunkSize(record->bytes.size()) - 1;
        record->fileEnd = contents.readBytes;
        records.Append(std::move(record));
        return;
      case ChunkResult::End:
        return;
      case ChunkResult::CutShort:
        LogWarning("CM: Error reading cache file stream. Wanted %d and got %d",
                   static_cast<int>(chunks.WantedBytes()), record->Size());
        ++contents.errors;
        return;
      case ChunkResult::Failed:
        LogWarning("CM: Error reading chunk data: %s", chunks.ErrorText());
        ++contents.errors;
        return;
    }
  }
}

// Null after a failure, which it logs.
std::unique_ptr<BuiltRecord> CompressJson(const json_t* value) {
  MemoryOutputStream memory;
  GZipOutputStream gzip(&memory);
  JsonOutputStream json(&gzip, JSON_COMPACT);
  if (!json.WriteValue(value) && !gzip.HasError()) {
    LogWarning("CM: Error writing json data: %s", json.ErrorText());
    return nullptr;
  }
  gzip.Flush();
  if (gzip.HasError()) {
    LogWarning("CM: Error compressing data: %s", gzip.ErrorText());
    return nullptr;
  }
  auto record = std::make_unique<BuiltRecord>();
  record->bytes = memory.Join();
  return record;
}

// Reads the current line. An empty line has no record. False after a failure.
bool ReadLine(LineInputStream& lines, RecordList& records) {
  CountingInputStream text(&lines);
  JsonInputStream json(&text);
  const JsonPtr value = json.ReadValue();
  if (!value) {
    if (text.Count() == 0 && !lines.HasError()) {
      return true;
    }
    LogWarning("CM: Error reading json data: %s", json.ErrorText());
    return false;
  }
  std::unique_ptr<BuiltRecord> record = CompressJson(value.Get());
  if (record == nullptr) {
    return false;
  }
  records.Append(std::move(record));
  return true;
}

void ReadLines(InputStream* input, RecordList& records, CacheFileContents& contents) {
  CountingInputStream counted(input);
  LineInputStream lines(&counted);
  while (lines.NextLine()) {
    const int64_t lineBegin = counted.Count() - 1;
    const bool good = ReadLine(lines, records);
    while (lines.ReadByte() >= 0) {
      // Skip the rest of a line that failed.
    }
    if (good) {
      contents.readBytes += counted.Count() - lineBegin;
    } else {
      ++contents.errors;
    }
  }
}

// Bytes are most often lost at the end of a file whose last write failed; the writer has kept that
// record.
void ReportLoss(const std::string& path, int64_t size, CacheFileContents& contents) {
  const int64_t lost = size - contents.readBytes;
  if (lost <= 0) {
    return;
  }
  LogWarning("CM: %lld of %lld bytes in cache file '%s' could not be read",
             static_cast<long long>(lost), static_cast<long long>(size), path.c_str());
  if (contents.errors == 0) {
    ++contents.errors;
  }
}

}  // namespace

CacheFileContents ReadCacheFile(InputStream* input, RecordList& records) {
  CacheFileContents contents;
  BufferedInputStream buffered(input);
  const int32_t first = buffered.PeekByte();
  if (first == kChunkBegin) {
    ReadChunks(&buffered, records, contents);
  } else if (first == kLineLayoutBegin) {
    ReadLines(&buffered, records, contents);
  } else if (first >= 0) {
    LogWarning("CM: Unrecognized cache file. First byte is (0x%02x)", static_cast<unsigned>(first));
    ++contents.errors;
  } else if (buffered.HasError()) {
    LogWarning("CM: Error reading chunk data: %s", buffered.ErrorText());
    ++contents.errors;
  } else {
    TAV_DEBUG("CM: Zero length cache file found");
  }
  return contents;
}

CacheFileContents ReadOpenCacheFile(TavFile& file, const std::string& path, RecordList& records) {
  Platform::FileStatus status;
  Platform::QueryFileStatus(path.c_str(), status);
  TavFileInputStream input(&file);
  CacheFileContents contents = ReadCacheFile(&input, records);
  // The error may pass. What cannot be read now will be deleted.
  if (file.Failed()) {
    records.Clear();
    if (!file.OpenAtomic(path.c_str())) {
      return contents;
    }
    TavFileInputStream again(&file);
    contents = ReadCacheFile(&again, records);
  }
  ReportLoss(path, status.size, contents);
  return contents;
}

int64_t WholeChunkBytes(InputStream* input) {
  BufferedInputStream buffered(input);
  ChunkInputStream chunks(&buffered);
  std::vector<uint8_t> payload;
  int64_t bytes = 0;
  while (chunks.ReadChunk(payload) == ChunkResult::Chunk) {
    bytes += ChunkSize(payload.size());
  }
  return bytes;
}

}  // namespace Tav
