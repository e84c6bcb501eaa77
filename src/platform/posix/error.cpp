#include "platform/error.h"

#include <pthread.h>
#include <string.h>

namespace Tav::Platform {

namespace {

// The slot's pointer holds the number itself.
pthread_key_t LastErrorKey() {
  static const pthread_key_t key = [] {
    pthread_key_t created{};
    pthread_key_create(&created, nullptr);
    return created;
  }();
  return key;
}

}  // namespace

uint32_t LastError() noexcept {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pthread_getspecific(LastErrorKey())));
}

void SetLastError(uint32_t code) noexcept {
  pthread_setspecific(LastErrorKey(), reinterpret_cast<void*>(static_cast<uintptr_t>(code)));
}

std::string ErrorMessage(uint32_t code) {
  const char* const text = strerrordesc_np(static_cast<int>(code));
  return text ? text : "";
}

std::string ErrnoMessage(int code) {
  const char* const text = strerrordesc_np(code);
  return text ? text : "Unknown error";
}

}  // namespace Tav::Platform
