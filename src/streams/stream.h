// Byte streams: a source or sink at the bottom (memory, a C stream, a storage file) and filters
// stacked on it (buffering, lines, JSON values, chunks, gzip, base64). Streams live on the stack of
// the function that uses them, are built bottom up and destroyed top down. They own no file and no
// other stream.
//
// Failures are kept, not thrown: the first one sets a flag and a text, every later call does
// nothing (Read delivers 0, ReadByte -1), and the owner asks once at the end. A filter reports its
// own failure or, when it has none, that of the stream below it, so asking the top one is enough.
//
// A stream is used by one thread at a time. Bottom streams block as their file does.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "util/logger.h"

namespace Tav {

// The first failure of a stream with its text.
class StreamError {
 public:
  // `limit` is the most characters that the text keeps, at most 256.
  explicit StreamError(size_t limit) : limit_(limit < kMost ? limit : kMost) {}

  bool Failed() const { return failed_; }
  // Zero-terminated and empty while there is no failure. Borrowed: lives as long as this object.
  const char* Text() const { return text_; }
  // Later failures are ignored.
  void Set(const char* format, ...) TAV_PRINTF(2, 3);
  void SetVa(const char* format, va_list arguments);

 private:
  static constexpr size_t kMost = 256;
  size_t limit_;
  bool failed_ = false;
  char text_[kMost + 1] = {};
};

class InputStream {
 public:
  virtual ~InputStream() = default;
  InputStream(const InputStream&) = delete;
  InputStream& operator=(const InputStream&) = delete;

  virtual void Close() {}
  // The next byte, 0 to 255, or -1 at the end or after a failure.
  virtual int32_t ReadByte();
  // Delivers `count` bytes unless the stream ends or fails first; returns how many it delivered.
  virtual size_t Read(void* buffer, size_t count) = 0;
  virtual bool HasError() const { return false; }
  // Borrowed: valid until the stream is destroyed.
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
  // Borrowed: valid until the stream is destroyed.
  virtual const char* ErrorText() const { return ""; }

 protected:
  OutputStream() = default;
};

// A filter borrows the stream below it, which must outlive it, and forwards to it whatever it does
// not do itself.
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

// Filters that can fail by themselves. When the stream below has already failed, that failure came
// first and stays the one reported.
class FallibleInputStream : public FilterInputStream {
 public:
  bool HasError() const override { return error_.Failed() || FilterInputStream::HasError(); }
  const char* ErrorText() const override {
    return error_.Failed() ? error_.Text() : FilterInputStream::ErrorText();
  }

 protected:
  FallibleInputStream(InputStream* inner, size_t textLimit)
      : FilterInputStream(inner), error_(textLimit) {}
  void Fail(const char* format, ...) TAV_PRINTF(2, 3);

 private:
  StreamError error_;
};

class FallibleOutputStream : public FilterOutputStream {
 public:
  bool HasError() const override { return error_.Failed() || FilterOutputStream::HasError(); }
  const char* ErrorText() const override {
    return error_.Failed() ? error_.Text() : FilterOutputStream::ErrorText();
  }

 protected:
  FallibleOutputStream(OutputStream* inner, size_t textLimit)
      : FilterOutputStream(inner), error_(textLimit) {}
  void Fail(const char* format, ...) TAV_PRINTF(2, 3);

 private:
  StreamError error_;
};

}  // namespace Tav
