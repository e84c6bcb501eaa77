// Streams over open files, which they borrow and never close.
#pragma once

#include <cstdio>

#include "streams/stream.h"
#include "util/tav_file.h"

namespace Tav {

// C streams. Failures are "File read error: " or "File write error: " with the C run-time's text.

class FileInputStream : public InputStream {
 public:
  explicit FileInputStream(std::FILE* file);

  size_t Read(void* buffer, size_t count) override;
  bool HasError() const override { return error_.Failed(); }
  const char* ErrorText() const override { return error_.Text(); }

 private:
  std::FILE* file_;
  StreamError error_;
};

// Flush also flushes the C stream.
class FileOutputStream : public OutputStream {
 public:
  explicit FileOutputStream(std::FILE* file);

  void Flush() override;
  void Write(const void* buffer, size_t count) override;
  bool HasError() const override { return error_.Failed(); }
  const char* ErrorText() const override { return error_.Text(); }

 private:
  std::FILE* file_;
  StreamError error_;
};

// Storage files. Failures are those of the file.

class TavFileInputStream : public InputStream {
 public:
  explicit TavFileInputStream(TavFile* file) : file_(file) {}

  size_t Read(void* buffer, size_t count) override { return file_->Read(buffer, count); }
  bool HasError() const override { return file_->Failed(); }
  const char* ErrorText() const override { return file_->ErrorText(); }

 private:
  TavFile* file_;
};

class TavFileOutputStream : public OutputStream {
 public:
  explicit TavFileOutputStream(TavFile* file) : file_(file) {}

  void Write(const void* buffer, size_t count) override { file_->Write(buffer, count); }
  bool HasError() const override { return file_->Failed(); }
  const char* ErrorText() const override { return file_->ErrorText(); }

 private:
  TavFile* file_;
};

}  // namespace Tav
