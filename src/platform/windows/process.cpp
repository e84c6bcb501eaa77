#include "platform/process.h"

#include <windows.h>

#include <atomic>

#include "platform/error.h"
#include "platform/windows/wide_text.h"

namespace Tav::Platform {

namespace {

using ShutdownQuery = BOOLEAN(WINAPI*)();

BOOLEAN WINAPI FindShutdownQuery();

constinit std::atomic<ShutdownQuery> isShutdownInProgress{FindShutdownQuery};

BOOLEAN WINAPI AnswerNo() {
  return FALSE;
}

// The first answer. The function is found at run time because not every tool chain has an import
// library for ntdll.dll, which every process has loaded.
BOOLEAN WINAPI FindShutdownQuery() {
  const ErrorKeeper keeper;
  const HMODULE module = GetModuleHandleW(L"ntdll.dll");
  const FARPROC found = module ? GetProcAddress(module, "RtlDllShutdownInProgress") : nullptr;
  const auto query =
      found ? reinterpret_cast<ShutdownQuery>(reinterpret_cast<void (*)()>(found)) : AnswerNo;
  isShutdownInProgress.store(query, std::memory_order_relaxed);
  return query();
}

}  // namespace

bool ProcessEnding() noexcept {
  return isShutdownInProgress.load(std::memory_order_relaxed)() != FALSE;
}

int ProcessId() noexcept {
  return static_cast<int>(GetCurrentProcessId());
}

int CurrentProcessor() noexcept {
  return static_cast<int>(GetCurrentProcessorNumber());
}

long CurrentThreadId() noexcept {
  return static_cast<long>(GetCurrentThreadId());
}

std::optional<std::string> Environment(const char* name) {
  const ErrorKeeper keeper;
  const std::wstring wideName = ToWide(name);
  std::wstring value(128, L'\0');
  for (;;) {
    // The result 0 means an empty value or a failure; the last error tells which.
    ::SetLastError(ERROR_SUCCESS);
    const DWORD length = GetEnvironmentVariableW(wideName.c_str(), value.data(),
                                                 static_cast<DWORD>(value.size() + 1));
    if (length == 0 && ::GetLastError() != ERROR_SUCCESS) {
      return std::nullopt;
    }
    if (length <= value.size()) {
      value.resize(length);
      return ToUtf8(value);
    }
    value.resize(length);
  }
}

void* AllocatePages(size_t size) noexcept {
  return VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void FreePages(void* pages, size_t) noexcept {
  if (pages) {
    VirtualFree(pages, 0, MEM_RELEASE);
  }
}

}  // namespace Tav::Platform
