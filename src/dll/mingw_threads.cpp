// The POSIX thread functions that GCC's C++ run-time calls, for the MinGW build of the DLL only. It
// needs them for exceptions in several threads: a lock for its emergency memory, and a slot for the
// exceptions that a thread handles. jansson calls one more. They keep the linker from using the
// thread library of MinGW (25 KB), whose other members watch all threads and exceptions of a host.
// If anything else needs that library, the link fails with duplicate symbols.
#include <pthread.h>
#include <windows.h>

#include <cerrno>

extern "C" {

// In MinGW's start-up code: when a thread ends, its value of the slot is passed to the destructor.
int ___w64_mingwthr_add_key_dtor(DWORD slot, void (*destructor)(void*));

namespace {

constexpr pthread_mutex_t kStatic = PTHREAD_MUTEX_INITIALIZER;

// The object itself is the lock. SRWLOCK_INIT is zero; no state of a lock looks like kStatic.
SRWLOCK* LockOf(pthread_mutex_t* mutex) {
  static_assert(sizeof(pthread_mutex_t) == sizeof(SRWLOCK));
  static_assert(sizeof(pthread_mutex_t) == sizeof(LONG64));
  InterlockedCompareExchange64(reinterpret_cast<volatile LONG64*>(mutex), 0,
                               static_cast<LONG64>(kStatic));
  return reinterpret_cast<SRWLOCK*>(mutex);
}

SRWLOCK onceLock = SRWLOCK_INIT;

}  // namespace

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t*) {
  InitializeSRWLock(reinterpret_cast<SRWLOCK*>(mutex));
  return 0;
}

int pthread_mutex_destroy(pthread_mutex_t*) {
  return 0;
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
  AcquireSRWLockExclusive(LockOf(mutex));
  return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) {
  ReleaseSRWLockExclusive(LockOf(mutex));
  return 0;
}

// The function must not call pthread_once.
int pthread_once(pthread_once_t* once, void (*function)(void)) {
  AcquireSRWLockExclusive(&onceLock);
  if (*once == PTHREAD_ONCE_INIT) {
    function();
    *once = PTHREAD_ONCE_INIT + 1;
  }
  ReleaseSRWLockExclusive(&onceLock);
  return 0;
}

int pthread_key_create(pthread_key_t* key, void (*destructor)(void*)) {
  const DWORD slot = TlsAlloc();
  if (slot == TLS_OUT_OF_INDEXES) {
    return EAGAIN;
  }
  *key = slot;
  return destructor == nullptr || ___w64_mingwthr_add_key_dtor(slot, destructor) == 0 ? 0 : ENOMEM;
}

void* pthread_getspecific(pthread_key_t key) {
  const DWORD lastError = GetLastError();
  void* const value = TlsGetValue(key);
  SetLastError(lastError);
  return value;
}

int pthread_setspecific(pthread_key_t key, const void* value) {
  return TlsSetValue(key, const_cast<void*>(value)) ? 0 : ENOMEM;
}

int sched_yield(void) {
  SwitchToThread();
  return 0;
}

}  // extern "C"
