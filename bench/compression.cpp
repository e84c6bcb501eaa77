#include <zlib.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/event_content.h"
#include "bench/host_library.h"
#include "bench/scenarios.h"

namespace Bench {

namespace {

constexpr char kRecordFile[] = "records.txt";

// The uncompressed records, of which the library writes one a line.
std::vector<std::string> RecordsOf(const Options& options) {
  HostLibrary library(options.library);
  library.Start(std::string("file://") + kRecordFile, options.scratch);
  for (int event = 0; event < options.load.Events(); ++event) {
    ReportEvent(library.Table(), event, ValuesOf(event));
  }
  library.Drain();
  library.Stop();
  std::vector<std::string> records;
  std::ifstream file(kRecordFile);
  for (std::string record; std::getline(file, record);) {
    records.push_back(record);
  }
  return records;
}

// As the library compresses a record; returns the compressed size.
size_t Compress(const std::string& record, std::vector<Bytef>& buffer) {
  constexpr int kGzipWindowBits = 31;
  constexpr int kMemoryLevel = 9;
  z_stream stream = {};
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, kGzipWindowBits, kMemoryLevel,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  std::string input = record;
  stream.next_in = reinterpret_cast<Bytef*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  buffer.resize(deflateBound(&stream, stream.avail_in));
  stream.next_out = buffer.data();
  stream.avail_out = static_cast<uInt>(buffer.size());
  const int result = deflate(&stream, Z_FINISH);
  const size_t size = stream.total_out;
  deflateEnd(&stream);
  if (result != Z_STREAM_END) {
    throw std::runtime_error("zlib cannot compress a record");
  }
  return size;
}

}  // namespace

void MeasureCompression(const Timing& timing, const Options& options, Results& results) {
  const std::vector<std::string> records = RecordsOf(options);
  std::vector<Bytef> buffer;
  size_t textBytes = 0;
  size_t compressedBytes = 0;
  const Ticks start = ReadTicks();
  for (const std::string& record : records) {
    textBytes += record.size();
    compressedBytes += Compress(record, buffer);
  }
  const double seconds = timing.Seconds(ReadTicks() - start);
  const double events = options.load.Events();
  results.AddRound("compression", options.name, Pack("{s:i}", "events", options.load.Events()),
                   Pack("{s:f, s:f, s:f}", "events_per_second", events / seconds,
                        "json_bytes_per_event", static_cast<double>(textBytes) / events,
                        "wire_bytes_per_event", static_cast<double>(compressedBytes) / events));
}

}  // namespace Bench
