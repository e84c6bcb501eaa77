// Gzip compression and expansion, one member each way, at the setting that gives the smallest
// output. zlib's result code is part of the failure text.
#pragma once

#include <zlib.h>

#include "streams/stream.h"

namespace Tav {

// Compresses what is written to it. Flush completes the member: nothing can be written afterwards,
// and a stream destroyed before has written an incomplete one.
class GZipOutputStream : public FallibleOutputStream {
 public:
  explicit GZipOutputStream(OutputStream* inner);
  ~GZipOutputStream() override;

  // Completes the member and flushes the stream below. A second call only does the latter.
  void Flush() override;
  void Write(const void* buffer, size_t count) override;

 private:
  void WriteOut();

  z_stream deflate_ = {};
  bool started_ = false;
  bool finished_ = false;
  uint8_t buffer_[4096];
};

// Expands one gzip member and ignores what follows it. The input is complete and undamaged exactly
// when Read has delivered less than it was asked for and HasError is false: a member that ends too
// early is a failure (zlib's buffer error, -5) as damage is (its data error, -3). A caller that
// stops before the end of the output asks Complete, which tells whether the checksum was reached
// and right. How much to expand is for the caller to bound.
class GZipInputStream : public FallibleInputStream {
 public:
  explicit GZipInputStream(InputStream* inner);
  ~GZipInputStream() override;

  // A call that meets a failure delivers nothing, not even what it had expanded before it.
  size_t Read(void* buffer, size_t count) override;
  bool Complete() const { return complete_; }

 private:
  z_stream inflate_ = {};
  bool started_ = false;
  bool complete_ = false;
  uint8_t buffer_[4096];
};

}  // namespace Tav
