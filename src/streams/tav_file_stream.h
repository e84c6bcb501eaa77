// Streams over a file of the storage directory, which they borrow and never close. Their failures
// are the file's.
#pragma once

#include "streams/stream.h"
#include "util/tav_file.h"

namespace Tav {

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
