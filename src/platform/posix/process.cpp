#include "platform/process.h"

#include <sched.h>
#include <unistd.h>

#include <cstdlib>

namespace Tav::Platform {

int ProcessId() {
  return static_cast<int>(getpid());
}

int CurrentProcessor() {
  return sched_getcpu();
}

long CurrentThreadId() {
  return static_cast<long>(gettid());
}

std::optional<std::string> Environment(const char* name) {
  const char* const value = std::getenv(name);
  if (!value) {
    return std::nullopt;
  }
  return std::string(value);
}

}  // namespace Tav::Platform
