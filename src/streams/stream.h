// Byte streams: a source or sink at the bottom (memory, a C stream, a storage file) and filters on
// top of it (buffering, lines, JSON values, chunks, gzip, base64). Streams usually live on the
// stack of one function, built from the bottom up. They do not own files or other streams.
//
// A stream keeps its first failure as a flag and a text and throws nothing. After it every call
// does nothing (Read returns 0, ReadByte -1), so the owner asks once at the end. A filter reports
// its own failure or else that of the stream below: asking the top stream is enough.
//
// A stream is used by one thread at a time. It blocks only as its file does.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "util/logger.h"

namespace Tav {

// The longest text, in bytes, that is expanded or parsed. A longer one is damaged: records and
// storage files are far smaller, and 400 KB of gzip can hold 400 MB.
inline constexpr size_t kMaxTextSize = size_t{16} << 20;

// The first failure of a stream with its text.
class StreamError {
 public:
  // `limit` is the longest text in characters, at most 256.
  explicit StreamError(size_t limit) : limit_(limit < kMaxText ? limit : kMaxText) {}

  bool Failed() const { return failed_; }
  // Empty without a failure. Valid as long as this object.
  const char* Text() const { return text_; }
  // Ignored after the first failure.
  void Set(const char* format, ...) TAV_PRINTF(2, 3);
  void SetVa(const char* format, va_list arguments);

 private:
  static constexpr size_t kMaxText = 256;
  size_t limit_;
  bool failed_ = false;
  char text_[kMaxText + 1] = {};
};

class InputStream {
 public:
  virtual ~InputStream() = default;
  InputStream(const InputStream&) = delete;
  InputStream& operator=(const InputStream&) = delete;

  virtual void Close() {}
  // The next byte, 0 to 255, or -1 at the end or after a failure.
  virtual int32_t ReadByte();
  // Returns the bytes delivered, fewer than `count` only at the end or after a failure.
  virtual size_t Read(void* buffer, size_t count) = 0;
  virtual bool HasError() const { return false; }
  // Valid as long as the stream.
  virtual const char* ErrorText() const { return ""; }

 protected:
  InputStream() = default;
};

class OutputStream {
 public:
  virtual ~OutputStream() = default;
  OutputStream(const OutputStream&) = delete;
  OutputStream& operator=(const OutputStream&) = delete;

  virtual void Close() {}
  virtual void Flush() {}
  virtual void WriteByte(uint8_t byte);
  virtual void Write(const void* buffer, size_t count) = 0;
  virtual bool HasError() const { return false; }
  // Valid as long as the stream.
  virtual const char* ErrorText() const { return ""; }

 protected:
  OutputStream() = default;
};

// A filter borrows the stream below, which must outlive it, and forwards to it by default.
class FilterInputStream : public InputStream {
 public:
  void Close() override { inner_->Close(); }
  bool HasError() const override { return inner_->HasError(); }
  const char* ErrorText() const override { return inner_->ErrorText(); }

 protected:
  explicit FilterInputStream(InputStream* inner) : inner_(inner) {}
  InputStream* Inner() const { return inner_; }

 private:
  InputStream* inner_;
};

class FilterOutputStream : public OutputStream {
 public:
  void Close() override { inner_->Close(); }
  void Flush() override { inner_->Flush(); }
  bool HasError() const override { return inner_->HasError(); }
  const char* ErrorText() const override { return inner_->ErrorText(); }

 protected:
  explicit FilterOutputStream(OutputStream* inner) : inner_(inner) {}
  OutputStream* Inner() const { return inner_; }

 private:
  OutputStream* inner_;
};

// A filter that can fail itself. If the stream below has failed before, that failure is reported.
template <typename Filter, typename Stream>
class FallibleFilter : public Filter {
 public:
  bool HasError() const override { return error_.Failed() || Filter::HasError(); }
  const char* ErrorText() const override {
    return error_.Failed() ? error_.Text() : Filter::ErrorText();
  }

 protected:
  FallibleFilter(Stream* inner, size_t maxErrorText) : Filter(inner), error_(maxErrorText) {}
  void Fail(const char* format, ...) TAV_PRINTF(2, 3) {
    if (Filter::HasError()) {
      return;
    }
    va_list arguments;
    va_start(arguments, format);
    error_.SetVa(format, arguments);
    va_end(arguments);
  }

 private:
  StreamError error_;
};

using FallibleInputStream = FallibleFilter<FilterInputStream, InputStream>;
using FallibleOutputStream = FallibleFilter<FilterOutputStream, OutputStream>;

}  // namespace Tav
