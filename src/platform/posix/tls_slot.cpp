#include "platform/tls_slot.h"

#include <pthread.h>

namespace Tav::Platform {

bool TlsSlot::Acquire() {
  pthread_key_t key{};
  valid_ = pthread_key_create(&key, nullptr) == 0;
  index_ = key;
  return valid_;
}

void TlsSlot::Release() {
  if (valid_) {
    valid_ = false;
    pthread_key_delete(static_cast<pthread_key_t>(index_));
  }
}

void* TlsSlot::Get() const {
  return valid_ ? pthread_getspecific(static_cast<pthread_key_t>(index_)) : nullptr;
}

void TlsSlot::Set(void* value) const {
  if (valid_) {
    pthread_setspecific(static_cast<pthread_key_t>(index_), value);
  }
}

}  // namespace Tav::Platform
