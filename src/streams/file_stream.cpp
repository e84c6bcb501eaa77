#include "streams/file_stream.h"

#include <cerrno>

#include "platform/error.h"

namespace Tav {
namespace {

constexpr size_t kErrorTextLimit = 256;

}  // namespace

FileInputStream::FileInputStream(std::FILE* file) : file_(file), error_(kErrorTextLimit) {}

size_t FileInputStream::Read(void* buffer, size_t count) {
  if (error_.Failed() || count == 0) {
    return 0;
  }
  const size_t delivered = std::fread(buffer, 1, count, file_);
  // Some C run-times fail to read a stream that is open for writing only without marking an error.
  if (delivered < count && (std::ferror(file_) != 0 || std::feof(file_) == 0)) {
    error_.Set("File read error: %s", Platform::ErrnoMessage(errno).c_str());
  }
  return delivered;
}

FileOutputStream::FileOutputStream(std::FILE* file) : file_(file), error_(kErrorTextLimit) {}

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
