#include "platform/tls_slot.h"

#include <windows.h>

namespace Tav::Platform {

bool TlsSlot::Acquire() {
  index_ = TlsAlloc();
  valid_ = index_ != TLS_OUT_OF_INDEXES;
  return valid_;
}

void TlsSlot::Release() {
  if (valid_) {
    valid_ = false;
    TlsFree(index_);
  }
}

void* TlsSlot::Get() const {
  if (!valid_) {
    return nullptr;
  }
  // TlsGetValue clears the last error to tell a null value from a failure.
  const DWORD lastError = ::GetLastError();
  void* const value = TlsGetValue(index_);
  ::SetLastError(lastError);
  return value;
}

void TlsSlot::Set(void* value) const {
  if (valid_) {
    TlsSetValue(index_, value);
  }
}

}  // namespace Tav::Platform
