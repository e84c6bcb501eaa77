// One JSON value read from, or written to, the stream below. The document's root is an object or an
// array. Numbers read and print the same whatever locale the host has set.
#pragma once

#include "streams/stream.h"
#include "util/json.h"

namespace Tav {

class JsonInputStream : public FallibleInputStream {
 public:
  explicit JsonInputStream(InputStream* inner);

  // Reads the stream below to its end as one value; an object that names a key twice is malformed.
  // Null after a failure: "Bad JSON value", or the failure of the stream below.
  JsonPtr ReadValue();
  // The bytes themselves.
  size_t Read(void* buffer, size_t count) override { return Inner()->Read(buffer, count); }
};

class JsonOutputStream : public FallibleOutputStream {
 public:
  // `flags` are jansson's: JSON_COMPACT for records, JSON_INDENT(4) | JSON_ENSURE_ASCII for
  // storage.
  JsonOutputStream(OutputStream* inner, size_t flags);

  // Writes `value`, which it borrows for the call. False after a failure: "Bad JSON value" (a value
  // that is neither object nor array, a reference cycle), or the failure of the stream below.
  // The output comes in many small pieces: a file is best kept behind a buffered stream.
  bool WriteValue(const json_t* value);
  // The bytes themselves.
  void Write(const void* buffer, size_t count) override { Inner()->Write(buffer, count); }

 private:
  size_t flags_;
};

}  // namespace Tav
