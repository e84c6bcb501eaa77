// Streams over an open C stream, which they borrow and never close.
#pragma once

#include <cstdio>

#include "streams/stream.h"

namespace Tav {

// Fails with "File read error: " and the C run-time's text.
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

// Fails with "File write error: " and the C run-time's text. Flush hands what the C stream holds to
// the system.
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

}  // namespace Tav
