#include "streams/file_stream.h"

#include <cerrno>

#include "platform/error.h"

namespace Tav {

namespace {

constexpr size_t kMaxErrorText = 256;

}  // namespace

FileInputStream::FileInputStream(std::FILE* file) : file_(file), error_(kMaxErrorText) {}

size_t FileInputStream::Read(void* buffer, size_t count) {
  if (error_.Failed() || count == 0) {
    return 0;
  }
  const size_t delivered = std::fread(buffer, 1, count, file_);
  // Some C run-times set no error when they fail to read a stream opened for writing.
  if (delivered < count && (std::ferror(file_) != 0 || std::feof(file_) == 0)) {
    error_.Set("File read error: %s", Platform::ErrnoMessage(errno).c_str());
  }
  return delivered;
}

FileOutputStream::FileOutputStream(std::FILE* file) : file_(file), error_(kMaxErrorText) {}

void FileOutputStream::Write(const void* buffer, size_t count) {
  if (error_.Failed() || count == 0) {
    return;
  }
  if (std::fwrite(buffer, 1, count, file_) != count) {
    error_.Set("File write error: %s", Platform::ErrnoMessage(errno).c_str());
  }
}

void FileOutputStream::Flush() {
  if (!error_.Failed() && std::fflush(file_) != 0) {
    error_.Set("File write error: %s", Platform::ErrnoMessage(errno).c_str());
  }
}

}  // namespace Tav
