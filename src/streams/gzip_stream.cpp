#include "streams/gzip_stream.h"

#include <algorithm>
#include <limits>

#include "streams/memory_stream.h"

namespace Tav {

namespace {

constexpr size_t kMaxErrorText = 32;
constexpr int kGzipWindowBits = 31;
constexpr int kMemoryLevel = 9;

// zlib counts bytes in unsigned int.
uInt ClampCount(size_t count) {
  return static_cast<uInt>(std::min<size_t>(count, std::numeric_limits<uInt>::max()));
}

}  // namespace

GZipOutputStream::GZipOutputStream(OutputStream* inner)
    : FallibleOutputStream(inner, kMaxErrorText) {
  const int result = deflateInit2(&deflate_, Z_BEST_COMPRESSION, Z_DEFLATED, kGzipWindowBits,
                                  kMemoryLevel, Z_DEFAULT_STRATEGY);
  if (result != Z_OK) {
    Fail("GZip init error %d", result);
    return;
  }
  started_ = true;
  deflate_.next_out = buffer_;
  deflate_.avail_out = sizeof(buffer_);
}

GZipOutputStream::~GZipOutputStream() {
  if (started_) {
    deflateEnd(&deflate_);
  }
}

void GZipOutputStream::WriteOut() {
  const size_t held = sizeof(buffer_) - deflate_.avail_out;
  if (held != 0 && !HasError()) {
    Inner()->Write(buffer_, held);
  }
  deflate_.next_out = buffer_;
  deflate_.avail_out = sizeof(buffer_);
}

void GZipOutputStream::Write(const void* buffer, size_t count) {
  if (count != 0 && finished_) {
    Fail("GZip deflate error %d", Z_STREAM_ERROR);
  }
  deflate_.next_in = const_cast<Bytef*>(static_cast<const Bytef*>(buffer));
  while (count != 0 && !HasError()) {
    const uInt piece = ClampCount(count);
    deflate_.avail_in = piece;
    const int result = deflate(&deflate_, Z_NO_FLUSH);
    if (result != Z_OK) {
      Fail("GZip deflate error %d", result);
      return;
    }
    count -= piece - deflate_.avail_in;
    if (deflate_.avail_out == 0) {
      WriteOut();
    }
  }
}

void GZipOutputStream::Flush() {
  if (HasError()) {
    return;
  }
  if (!finished_) {
    finished_ = true;
    deflate_.avail_in = 0;
    int result;
    do {
      WriteOut();
      result = deflate(&deflate_, Z_FINISH);
    } while (result == Z_OK && !HasError());
    if (result == Z_OK || result == Z_STREAM_END) {
      WriteOut();
    } else {
      Fail("GZip deflate error %d", result);
    }
    if (HasError()) {
      return;
    }
  }
  Inner()->Flush();
}

GZipInputStream::GZipInputStream(InputStream* inner) : FallibleInputStream(inner, kMaxErrorText) {
  const int result = inflateInit2(&inflate_, kGzipWindowBits);
  if (result != Z_OK) {
    outOfMemory_ = result == Z_MEM_ERROR;
    Fail("GZip init error %d", result);
    return;
  }
  started_ = true;
}

GZipInputStream::~GZipInputStream() {
  if (started_) {
    inflateEnd(&inflate_);
  }
}

size_t GZipInputStream::Read(void* buffer, size_t count) {
  if (complete_ || HasError()) {
    return 0;
  }
  inflate_.next_out = static_cast<Bytef*>(buffer);
  size_t wanted = count;
  while (wanted != 0 && !complete_) {
    if (inflate_.avail_in == 0) {
      inflate_.next_in = buffer_;
      inflate_.avail_in = static_cast<uInt>(Inner()->Read(buffer_, sizeof(buffer_)));
    }
    const uInt piece = ClampCount(wanted);
    inflate_.avail_out = piece;
    const int result = inflate(&inflate_, Z_NO_FLUSH);
    wanted -= piece - inflate_.avail_out;
    expanded_ += piece - inflate_.avail_out;
    if (expanded_ > kMaxTextSize) {
      Fail("GZip text beyond %d bytes", static_cast<int>(kMaxTextSize));
      return 0;
    }
    complete_ = result == Z_STREAM_END;
    if (result != Z_OK && !complete_) {
      outOfMemory_ = result == Z_MEM_ERROR;
      Fail("GZip inflate error %d", result);
      return 0;
    }
  }
  return count - wanted;
}

std::string ExpandGZip(std::span<const uint8_t> bytes) {
  MemoryInputStream member(bytes.data(), bytes.size());
  GZipInputStream gzip(&member);
  std::string text;
  char piece[4096];
  while (const size_t count = gzip.Read(piece, sizeof piece)) {
    text.append(piece, count);
  }
  return text;
}

}  // namespace Tav
