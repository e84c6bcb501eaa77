// The linker calls __wrap_X in place of X, and X by the name __real_X.
#include "prove/allocations/failing_allocations.h"

#include <jansson.h>
#include <zlib.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "platform/process.h"
#include "prove/lives/evidence.h"

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the linker's names

extern "C" {
void* __real_malloc(size_t size);
int __real_deflateInit2_(z_streamp stream,
                         int level,
                         int method,
                         int windowBits,
                         int memLevel,
                         int strategy,
                         const char* version,
                         int size);
int __real_inflateInit2_(z_streamp stream, int windowBits, const char* version, int size);
}

namespace Tav::Testing {

void* RealPages(size_t size) noexcept __asm__("__real__ZN3Tav8Platform13AllocatePagesEm");
void* WrappedPages(size_t size) noexcept __asm__("__wrap__ZN3Tav8Platform13AllocatePagesEm");

namespace {

constinit std::atomic<long> host{0};  // a thread; 0: nothing is counted
constinit std::atomic<int> counts[2] = {};
AllocatingThread failing = AllocatingThread::Host;
int first = 0;
int last = -1;

bool Fails() {
  const long hostThread = host.load(std::memory_order_acquire);
  if (hostThread == 0) {
    return false;
  }
  const AllocatingThread where = Platform::CurrentThreadId() == hostThread
                                     ? AllocatingThread::Host
                                     : AllocatingThread::Library;
  const int ordinal = ++counts[static_cast<int>(where)];
  const bool fails = where == failing && ordinal >= first && ordinal <= last;
  if (fails && ordinal == first) {
    Add(Fact::Hit, "allocation");
  }
  return fails;
}

void* Allocate(size_t size) {
  return Fails() ? nullptr : __real_malloc(size);
}

void* AllocateForZlib(void*, unsigned count, unsigned size) {
  return Allocate(size_t{count} * size);
}

void FreeForZlib(void*, void* memory) {
  std::free(memory);
}

void* New(size_t size) {
  return Allocate(size != 0 ? size : 1);
}

void* NewOrThrow(size_t size) {
  void* const memory = New(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

void FailAllocations(AllocatingThread where, int ordinal, int count) {
  json_set_alloc_funcs(Allocate, std::free);
  failing = where;
  first = ordinal;
  last = ordinal == 0 ? -1 : ordinal + count - 1;
  host.store(Platform::CurrentThreadId(), std::memory_order_release);
}

void StopFailing() {
  host = 0;
  Add(Fact::Counted, "host " + std::to_string(counts[0]));
  Add(Fact::Counted, "library " + std::to_string(counts[1]));
}

void* WrappedPages(size_t size) noexcept {
  return Fails() ? nullptr : RealPages(size);
}

}  // namespace Tav::Testing

extern "C" {

void* __wrap_malloc(size_t size) {
  return Tav::Testing::Allocate(size);
}

int __wrap_deflateInit2_(z_streamp stream,
                         int level,
                         int method,
                         int windowBits,
                         int memLevel,
                         int strategy,
                         const char* version,
                         int size) {
  stream->zalloc = Tav::Testing::AllocateForZlib;
  stream->zfree = Tav::Testing::FreeForZlib;
  return __real_deflateInit2_(stream, level, method, windowBits, memLevel, strategy, version, size);
}

int __wrap_inflateInit2_(z_streamp stream, int windowBits, const char* version, int size) {
  stream->zalloc = Tav::Testing::AllocateForZlib;
  stream->zfree = Tav::Testing::FreeForZlib;
  return __real_inflateInit2_(stream, windowBits, version, size);
}
}

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

// All forms: a sanitizer has some of its own.
void* operator new(size_t size) {
  return Tav::Testing::NewOrThrow(size);
}
void* operator new[](size_t size) {
  return Tav::Testing::NewOrThrow(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return Tav::Testing::New(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return Tav::Testing::New(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
