// The linker calls __wrap_X in place of X, and X by the name __real_X.
#include "system/posix/kill_points.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <string>

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the linker's names

extern "C" {
int __real_open(const char* path, int flags, mode_t mode);
ssize_t __real_write(int file, const void* data, size_t size);
ssize_t __real_pwrite(int file, const void* data, size_t size, off_t offset);
int __real_ftruncate(int file, off_t size);
int __real_unlink(const char* path);
ssize_t __real_send(int socket, const void* data, size_t size, int flags);
ssize_t __real_recv(int socket, void* data, size_t size, int flags);
}

namespace Tav::Testing {

namespace {

std::atomic<int> passed{0};
std::atomic<int> fatal{0};

bool IsFatal() {
  return ++passed == fatal;
}

// Never returns.
void Die(const char* moment, const char* call) {
  std::string line = std::string("killed ") + moment + ' ' + call + '\n';
  static_cast<void>(__real_write(STDOUT_FILENO, line.data(), line.size()) == 0);
  kill(getpid(), SIGKILL);
  pause();
}

template <typename Function>
auto Around(const char* call, const Function& function) {
  if (IsFatal()) {
    Die("before", call);
  }
  const auto result = function();
  if (IsFatal()) {
    Die("after", call);
  }
  return result;
}

// `function` takes the number of bytes to write.
template <typename Function>
auto AroundWrite(const char* call, size_t size, const Function& function) {
  return Around(call, [&] {
    if (IsFatal()) {
      function(size / 2);
      Die("in", call);
    }
    return function(size);
  });
}

}  // namespace

void KillAtPoint(int number) {
  passed = 0;
  fatal = number;
}

int PointsPassed() {
  return passed;
}

}  // namespace Tav::Testing

using Tav::Testing::Around;
using Tav::Testing::AroundWrite;

extern "C" {

int __wrap_open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const auto mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : mode_t{0};
  va_end(rest);
  const auto call = [&] { return __real_open(path, flags, mode); };
  return (flags & O_CREAT) != 0 ? Around("open", call) : call();
}

ssize_t __wrap_write(int file, const void* data, size_t size) {
  const auto call = [&](size_t part) { return __real_write(file, data, part); };
  return file == STDOUT_FILENO ? call(size) : AroundWrite("write", size, call);
}

ssize_t __wrap_pwrite(int file, const void* data, size_t size, off_t offset) {
  // A journal grows by many writes of zeros; some of them are enough.
  constexpr off_t kMany = off_t{1} << 19;
  const auto call = [&](size_t part) { return __real_pwrite(file, data, part, offset); };
  return offset % kMany != 0 ? call(size) : AroundWrite("pwrite", size, call);
}

int __wrap_ftruncate(int file, off_t size) {
  return Around("ftruncate", [&] { return __real_ftruncate(file, size); });
}

int __wrap_unlink(const char* path) {
  return Around("unlink", [&] { return __real_unlink(path); });
}

ssize_t __wrap_send(int socket, const void* data, size_t size, int flags) {
  return AroundWrite("send", size,
                     [&](size_t part) { return __real_send(socket, data, part, flags); });
}

ssize_t __wrap_recv(int socket, void* data, size_t size, int flags) {
  return Around("recv", [&] { return __real_recv(socket, data, size, flags); });
}
}

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
