// One JSON document, an object or an array. Numbers do not depend on the locale that the host sets.
#pragma once

#include "streams/stream.h"
#include "util/json.h"

namespace Tav {

class JsonInputStream : public FallibleInputStream {
 public:
  // The value of "[{},{},..." takes about 80 times the memory of its text. No record of the default
  // size has this many.
  static constexpr size_t kMaxSeparators = size_t{1} << 19;

  explicit JsonInputStream(InputStream* inner);

  // Reads the stream below to its end. Null after a failure: "Bad JSON value" or that of the stream
  // below. Also malformed are an object with a duplicate key, a text of more than kMaxTextSize
  // bytes, and a text with more than kMaxSeparators brackets and commas.
  JsonPtr ReadValue();
  // The raw bytes.
  size_t Read(void* buffer, size_t count) override { return Inner()->Read(buffer, count); }
};

class JsonOutputStream : public FallibleOutputStream {
 public:
  // `flags` are jansson's: JSON_COMPACT for records, JSON_INDENT(4) | JSON_ENSURE_ASCII for
  // storage.
  JsonOutputStream(OutputStream* inner, size_t flags);

  // Borrows `value` for the call. False after a failure: "Bad JSON value" (neither an object nor an
  // array, or a reference cycle) or that of the stream below. Writes many small pieces: put a
  // buffered stream below if each write is expensive.
  bool WriteValue(const json_t* value);
  // The raw bytes.
  void Write(const void* buffer, size_t count) override { Inner()->Write(buffer, count); }

 private:
  size_t flags_;
};

}  // namespace Tav
