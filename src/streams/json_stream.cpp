#include "streams/json_stream.h"

#include <algorithm>
#include <string_view>

namespace Tav {

namespace {

constexpr size_t kMaxErrorText = 100;

constexpr size_t kReadFailed = static_cast<size_t>(-1);

struct JsonSource {
  InputStream* input;
  size_t size = 0;
  size_t separators = 0;  // in strings, too
  bool tooLarge = false;
};

size_t ReadForJson(void* buffer, size_t count, void* context) {
  JsonSource& source = *static_cast<JsonSource*>(context);
  const size_t got = source.input->Read(buffer, count);
  const std::string_view piece(static_cast<const char*>(buffer), got);
  source.size += got;
  source.separators += static_cast<size_t>(
      std::ranges::count_if(piece, [](char c) { return c == ',' || c == '[' || c == '{'; }));
  source.tooLarge =
      source.size > kMaxTextSize || source.separators > JsonInputStream::kMaxSeparators;
  return source.tooLarge || (got == 0 && source.input->HasError()) ? kReadFailed : got;
}

int WriteForJson(const char* buffer, size_t count, void* stream) {
  OutputStream* output = static_cast<OutputStream*>(stream);
  output->Write(buffer, count);
  return output->HasError() ? -1 : 0;
}

}  // namespace

JsonInputStream::JsonInputStream(InputStream* inner) : FallibleInputStream(inner, kMaxErrorText) {}

JsonPtr JsonInputStream::ReadValue() {
  if (HasError()) {
    return JsonPtr();
  }
  JsonSource source{Inner()};
  json_error_t error;
  JsonPtr value(json_load_callback(ReadForJson, &source, JSON_REJECT_DUPLICATES, &error));
  if (!value || source.tooLarge || HasError()) {
    Fail("Bad JSON value");
    return JsonPtr();
  }
  return value;
}

JsonOutputStream::JsonOutputStream(OutputStream* inner, size_t flags)
    : FallibleOutputStream(inner, kMaxErrorText), flags_(flags) {}

bool JsonOutputStream::WriteValue(const json_t* value) {
  if (HasError()) {
    return false;
  }
  if (json_dump_callback(value, WriteForJson, Inner(), flags_) != 0) {
    Fail("Bad JSON value");
  }
  return !HasError();
}

}  // namespace Tav
