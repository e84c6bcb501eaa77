#include "streams/json_stream.h"

namespace Tav {

namespace {

constexpr size_t kMaxErrorText = 100;

size_t ReadForJson(void* buffer, size_t count, void* stream) {
  InputStream* input = static_cast<InputStream*>(stream);
  const size_t got = input->Read(buffer, count);
  return got == 0 && input->HasError() ? static_cast<size_t>(-1) : got;
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
  json_error_t error;
  JsonPtr value(json_load_callback(ReadForJson, Inner(), JSON_REJECT_DUPLICATES, &error));
  if (!value || HasError()) {
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
