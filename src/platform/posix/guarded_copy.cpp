#include "platform/guarded_copy.h"

#include <setjmp.h>
#include <signal.h>

#include <atomic>
#include <cstring>

namespace Tav::Platform {

namespace {

void CopyPlain(void* to, const void* from, size_t size) {
  const auto places = reinterpret_cast<uintptr_t>(to) | reinterpret_cast<uintptr_t>(from);
  if (size == sizeof(uint64_t) && places % sizeof(uint64_t) == 0) {
    const std::atomic_ref<uint64_t> source(*static_cast<uint64_t*>(const_cast<void*>(from)));
    std::atomic_ref<uint64_t>(*static_cast<uint64_t*>(to))
        .store(source.load(std::memory_order_acquire), std::memory_order_release);
  } else if (size != 0) {
    std::memcpy(to, from, size);
  }
}

}  // namespace

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define TAV_UNGUARDED
#endif
#endif

#ifdef TAV_UNGUARDED

// ThreadSanitizer does not survive the jump.
bool CopyGuarded(void* to, const void* from, size_t size) noexcept {
  CopyPlain(to, from, size);
  return true;
}

#else

namespace {

// Where the copy that this thread is making continues after a fault; null while it makes none.
__thread sigjmp_buf* failure = nullptr;

// A page beyond the end of a mapped file raises the first, a protected one the second.
constexpr int kSignals[] = {SIGBUS, SIGSEGV};
struct sigaction previous[2];

void OnFault(int signal) {
  if (failure != nullptr) {
    siglongjmp(*failure, 1);
  }
  // The access is repeated and meets the handler that was there before.
  const int index = signal == kSignals[0] ? 0 : 1;
  sigaction(signal, &previous[index], nullptr);
}

bool Install() {
  struct sigaction action{};
  action.sa_handler = OnFault;
  action.sa_flags = SA_NODEFER;  // left by a jump
  for (int i = 0; i < 2; ++i) {
    sigaction(kSignals[i], &action, &previous[i]);
  }
  return true;
}

}  // namespace

bool CopyGuarded(void* to, const void* from, size_t size) noexcept {
  [[maybe_unused]] static const bool installed = Install();
  sigjmp_buf here;
  if (sigsetjmp(here, 0) != 0) {
    failure = nullptr;
    return false;
  }
  failure = &here;
  std::atomic_signal_fence(std::memory_order_seq_cst);
  CopyPlain(to, from, size);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  failure = nullptr;
  return true;
}

#endif

}  // namespace Tav::Platform
