// Gzip compression and expansion of one member, at the setting with the smallest output. The
// failure text includes zlib's result code.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <span>
#include <string>

#include "streams/stream.h"

namespace Tav {

// Flush completes the member; a later Write fails. Without Flush the member stays incomplete.
class GZipOutputStream : public FallibleOutputStream {
 public:
  explicit GZipOutputStream(OutputStream* inner);
  ~GZipOutputStream() override;

  // Also flushes the stream below; a second call does only that.
  void Flush() override;
  void Write(const void* buffer, size_t count) override;

 private:
  void WriteOut();

  z_stream deflate_ = {};
  bool started_ = false;
  bool finished_ = false;
  uint8_t buffer_[4096];
};

// Expands one gzip member and ignores what follows it. A member that ends early fails with zlib's
// buffer error (-5), a damaged one with its data error (-3). A Read that delivers less than
// requested without an error has read the whole member. A text of more than kMaxTextSize bytes
// fails.
class GZipInputStream : public FallibleInputStream {
 public:
  explicit GZipInputStream(InputStream* inner);
  ~GZipInputStream() override;

  // A call that fails delivers nothing, not even the bytes expanded before the failure.
  size_t Read(void* buffer, size_t count) override;
  // The end of the member was reached and its checksum is correct.
  bool Complete() const { return complete_; }
  // The failure says nothing about the data.
  bool OutOfMemory() const { return outOfMemory_; }

 private:
  z_stream inflate_ = {};
  size_t expanded_ = 0;
  bool started_ = false;
  bool complete_ = false;
  bool outOfMemory_ = false;
  uint8_t buffer_[4096];
};

// The text of the gzip member in `bytes`, up to the first damage.
std::string ExpandGZip(std::span<const uint8_t> bytes);

}  // namespace Tav
