#include "session/data_block.h"

#include <utility>

#include "streams/base64_stream.h"
#include "streams/filter_stream.h"
#include "streams/gzip_stream.h"
#include "streams/json_check.h"
#include "streams/memory_stream.h"

namespace Tav {

namespace {

std::unique_ptr<BuiltRecord> Decode(std::string_view block, std::string& reason) {
  MemoryInputStream text(block.data(), block.size());
  Base64InputStream base64(&text);
  auto record = std::make_unique<BuiltRecord>();
  record->bytes.resize(block.size() / 4 * 3 + 3);
  record->bytes.resize(base64.Read(record->bytes.data(), record->bytes.size()));
  if (base64.HasError()) {
    reason = base64.ErrorText();
    return nullptr;
  }
  return record;
}

bool HoldsJsonObject(const BuiltRecord& record, std::string& reason) {
  MemoryInputStream bytes(record.bytes.data(), record.bytes.size());
  GZipInputStream gzip(&bytes);
  BufferedInputStream text(&gzip);
  const JsonShape shape = CheckJson(text);
  if (text.HasError()) {
    reason = text.ErrorText();
  } else if (shape == JsonShape::Malformed) {
    reason = "Bad JSON value";
  } else if (!gzip.Complete()) {
    reason = "Incomplete gzip data";
  } else if (shape != JsonShape::Object) {
    reason = "Not a JSON object";
  }
  return reason.empty();
}

}  // namespace

std::string ToDataBlock(const BuiltRecord& record) {
  MemoryOutputStream text;
  Base64OutputStream base64(&text);
  base64.Write(record.bytes.data(), record.bytes.size());
  base64.Flush();
  const std::vector<uint8_t> joined = text.Join();
  return {joined.begin(), joined.end()};
}

std::unique_ptr<BuiltRecord> FromDataBlock(std::string_view block, std::string& reason) {
  reason.clear();
  std::unique_ptr<BuiltRecord> record = Decode(block, reason);
  if (record == nullptr || !HoldsJsonObject(*record, reason)) {
    return nullptr;
  }
  return record;
}

}  // namespace Tav
