#include "platform/guarded_copy.h"

#include <windows.h>

#ifdef _MSC_VER
#include <atomic>
#include <cstring>
#endif

namespace Tav::Platform {

namespace {

// The second one is that of a view that was unmapped or protected.
constexpr bool IsPageError(DWORD code) {
  return code == EXCEPTION_IN_PAGE_ERROR || code == EXCEPTION_ACCESS_VIOLATION;
}

}  // namespace

#ifdef _MSC_VER

namespace {

// Not inlined: clang-cl guards calls only.
__declspec(noinline) void CopyPlain(void* to, const void* from, size_t size) {
  const auto places = reinterpret_cast<uintptr_t>(to) | reinterpret_cast<uintptr_t>(from);
  if (size == sizeof(uint64_t) && places % sizeof(uint64_t) == 0) {
    const std::atomic_ref<uint64_t> source(*static_cast<uint64_t*>(const_cast<void*>(from)));
    std::atomic_ref<uint64_t>(*static_cast<uint64_t*>(to))
        .store(source.load(std::memory_order_acquire), std::memory_order_release);
  } else {
    std::memcpy(to, from, size);
  }
}

}  // namespace

bool CopyGuarded(void* to, const void* from, size_t size) noexcept {
  __try {
    CopyPlain(to, from, size);
  } __except (IsPageError(GetExceptionCode()) ? EXCEPTION_EXECUTE_HANDLER
                                              : EXCEPTION_CONTINUE_SEARCH) {
    return false;
  }
  return true;
}

#else

// GCC has no __try. The function's entry in the exception table of the DLL names the handler, so
// nothing is registered at run time. On x86-64, plain accesses have the order that is promised.
extern "C" {
bool TavCopyGuarded(void* to, const void* from, size_t size) noexcept;
extern const char kTavCopyFailed[];
__attribute__((used)) EXCEPTION_DISPOSITION TavOnCopyFault(EXCEPTION_RECORD* record,
                                                           void*,
                                                           CONTEXT* context,
                                                           void*) {
  if (!IsPageError(record->ExceptionCode)) {
    return ExceptionContinueSearch;
  }
  // The function has no frame, so it can be continued at its end.
  context->Rip = reinterpret_cast<DWORD64>(kTavCopyFailed);
  return ExceptionContinueExecution;
}
}

// rcx: to, rdx: from, r8: size. Sixteen bytes at a time, then eight, then single ones.
asm(R"(
  .text
  .p2align 4
  .globl TavCopyGuarded
  .globl kTavCopyFailed
  .def TavCopyGuarded; .scl 2; .type 32; .endef
  .seh_proc TavCopyGuarded
TavCopyGuarded:
  .seh_handler TavOnCopyFault, @except
  .seh_endprologue
  subq $16, %r8
  jb 2f
1:
  movups (%rdx), %xmm0
  movups %xmm0, (%rcx)
  addq $16, %rdx
  addq $16, %rcx
  subq $16, %r8
  jae 1b
2:
  testb $8, %r8b
  je 3f
  movq (%rdx), %rax
  movq %rax, (%rcx)
  addq $8, %rdx
  addq $8, %rcx
3:
  andl $7, %r8d
  je 5f
4:
  movb (%rdx), %al
  movb %al, (%rcx)
  incq %rdx
  incq %rcx
  decl %r8d
  jne 4b
5:
  movl $1, %eax
  ret
kTavCopyFailed:
  xorl %eax, %eax
  ret
  .seh_endproc
)");

bool CopyGuarded(void* to, const void* from, size_t size) noexcept {
  return TavCopyGuarded(to, from, size);
}

#endif

}  // namespace Tav::Platform
