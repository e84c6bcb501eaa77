// Data blocks, which hosts push, and compressed bodies, which the gateway expands.
#include <vector>

#include "fuzz.h"
#include "gateway/gzip.h"
#include "session/data_block.h"
#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"

namespace {

using namespace Tav;
using Fuzz::Require;

std::vector<uint8_t> Compressed(std::string_view text) {
  MemoryOutputStream memory;
  GZipOutputStream gzip(&memory);
  gzip.Write(text.data(), text.size());
  gzip.Flush();
  Require(!gzip.HasError(), "any text can be compressed");
  return memory.Join();
}

void Push(std::string_view block) {
  std::string reason;
  const std::unique_ptr<BuiltRecord> record = FromDataBlock(block, reason);
  Require((record == nullptr) == !reason.empty(), "either a record or a reason");
  if (record == nullptr) {
    return;
  }
  const std::string text = ExpandGZip(record->bytes);
  Require(text.size() <= kMaxTextSize, "an accepted block has a bounded text");
  Require(Fuzz::IsJson(text) && text.find('{') != std::string::npos,
          "an accepted block is a JSON object");
  const std::unique_ptr<BuiltRecord> again = FromDataBlock(ToDataBlock(*record), reason);
  Require(again && again->bytes == record->bytes, "what was pushed can be pulled");
}

void Expand(std::string_view bytes, size_t limit) {
  const Gateway::Expansion expansion = Gateway::ExpandGzip(bytes, limit);
  Require(expansion.text.size() <= limit, "expansion is bounded");
  MemoryInputStream memory(bytes.data(), bytes.size());
  GZipInputStream gzip(&memory);
  std::vector<char> text(limit + 1);
  const size_t size = gzip.Read(text.data(), text.size());
  Require(!expansion.error.empty() ||
              (gzip.Complete() && size == expansion.text.size() &&
               std::equal(expansion.text.begin(), expansion.text.end(), text.begin())),
          "the gateway expands what the library expands");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Fuzz::Input input(data, size);
  const uint8_t mode = input.Byte();
  const std::string_view rest = input.Rest();
  if (mode % 3 == 0) {
    Push(rest);
    return 0;
  }
  if (mode % 3 == 1) {
    Expand(rest, size_t{1} << (mode / 12));
    return 0;
  }
  // A whole member of this text.
  BuiltRecord record;
  record.bytes = Compressed(rest);
  Require(ExpandGZip(record.bytes) == rest, "what is compressed is expanded again");
  Push(ToDataBlock(record));
  Expand({reinterpret_cast<const char*>(record.bytes.data()), record.bytes.size()}, size);
  return 0;
}
