// Feeds arbitrary bytes to the readers of data from outside this process: chunks, gzip, base64,
// lines and JSON, stacked as in the library. Finds crashes and leaks, and checks invariants.
#include <algorithm>
#include <vector>

#include "fuzz.h"
#include "streams/base64_stream.h"
#include "streams/chunk_stream.h"
#include "streams/filter_stream.h"
#include "streams/gzip_stream.h"
#include "streams/json_check.h"
#include "streams/json_stream.h"
#include "streams/memory_stream.h"

namespace {

using namespace Tav;
using Fuzz::Require;
using Bytes = std::vector<uint8_t>;

// A gzip member of a few bytes can expand to megabytes.
constexpr size_t kMaxExpanded = 1 << 20;

Bytes ReadSome(InputStream& stream, size_t piece) {
  Bytes all;
  while (all.size() < kMaxExpanded) {
    const size_t before = all.size();
    all.resize(before + piece);
    const size_t got = stream.Read(all.data() + before, piece);
    Require(got <= piece, "a read returns at most what was requested");
    all.resize(before + got);
    if (got < piece) {
      break;
    }
  }
  Require(stream.HasError() == (*stream.ErrorText() != '\0'), "every failure has a text");
  if (stream.HasError()) {
    uint8_t byte;
    Require(stream.Read(&byte, 1) == 0 && stream.ReadByte() == -1, "failures are permanent");
  }
  return all;
}

void ReadJson(InputStream& stream) {
  JsonInputStream json(&stream);
  const JsonPtr value = json.ReadValue();
  Require(json.HasError() == !value, "either a value or a failure");
  if (!value) {
    return;
  }
  MemoryOutputStream printed;
  JsonOutputStream output(&printed, JSON_COMPACT);
  Require(output.WriteValue(value.Get()), "a value that was read can be written");
  const Bytes text = printed.Join();
  MemoryInputStream again(text.data(), text.size());
  JsonInputStream reread(&again);
  const JsonPtr same = reread.ReadValue();
  Require(same && json_equal(same.Get(), value.Get()), "a value that was written reads the same");
}

void CheckText(const Bytes& bytes) {
  MemoryInputStream memory(bytes.data(), bytes.size());
  BufferedInputStream buffered(&memory);
  const bool good = CheckJson(buffered) != JsonShape::Malformed;
  const JsonPtr value(
      json_loadb(reinterpret_cast<const char*>(bytes.data()), bytes.size(), 0, nullptr));
  Require(good == static_cast<bool>(value) || bytes.size() >= 1000,
          "the check of a text agrees with the parser, but for very long numbers");
}

void Expand(const Bytes& bytes, size_t piece) {
  MemoryInputStream memory(bytes.data(), bytes.size());
  GZipInputStream gzip(&memory);
  const Bytes text = ReadSome(gzip, piece);
  Require(!(gzip.Complete() && gzip.HasError()), "not both complete and failed");
  MemoryInputStream expanded(text.data(), text.size());
  ReadJson(expanded);
}

void ReadChunks(const Bytes& bytes, size_t bufferSize) {
  MemoryInputStream memory(bytes.data(), bytes.size());
  BufferedInputStream buffered(&memory, bufferSize);
  ChunkInputStream chunks(&buffered);
  MemoryOutputStream rewritten;
  ChunkOutputStream writer(&rewritten);
  Bytes payload;
  ChunkResult result;
  while ((result = chunks.ReadChunk(payload)) == ChunkResult::Chunk) {
    writer.Write(payload.data(), payload.size());
    Expand(payload, 1024);
  }
  Require(chunks.HasError() == (result == ChunkResult::Failed || result == ChunkResult::NoEndMark),
          "an error if and only if reading failed");
  Require(payload.size() <= bytes.size(), "a payload is not larger than the input");
  const Bytes same = rewritten.Join();
  Require(same.size() <= bytes.size() && std::equal(same.begin(), same.end(), bytes.begin()),
          "rewritten chunks equal the start of the input");
  Require(result != ChunkResult::End || same.size() == bytes.size(),
          "the last chunk ends where the input ends");
}

void DecodeBase64(const Bytes& bytes, size_t piece) {
  MemoryInputStream memory(bytes.data(), bytes.size());
  Base64InputStream base64(&memory);
  const Bytes decoded = ReadSome(base64, piece);
  if (!base64.HasError()) {
    Require(decoded.size() <= bytes.size() / 4 * 3, "three bytes for four characters");
    Expand(decoded, piece);
  }
  MemoryOutputStream text;
  Base64OutputStream encoder(&text);
  encoder.Write(bytes.data(), bytes.size());
  encoder.Flush();
  const Bytes encoded = text.Join();
  MemoryInputStream textInput(encoded.data(), encoded.size());
  Base64InputStream decoder(&textInput);
  Require(ReadSome(decoder, piece) == bytes && !decoder.HasError(), "base64 round trip");
}

void ReadLines(const Bytes& bytes) {
  MemoryInputStream memory(bytes.data(), bytes.size());
  LineInputStream lines(&memory);
  size_t count = 0;
  while (lines.NextLine()) {
    ReadJson(lines);
    ++count;
  }
  Require(count <= bytes.size() && lines.AtEnd(), "each line has at least one byte");
}

}  // namespace

// The first byte selects the size of reads; the rest is the input of every reader.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) {
    return 0;
  }
  const size_t piece = size_t{data[0]} + 1;
  const Bytes bytes(data + 1, data + size);
  ReadChunks(bytes, piece);
  DecodeBase64(bytes, piece);
  Expand(bytes, piece);
  ReadLines(bytes);
  CheckText(bytes);
  return 0;
}
