#include "bench/import_counter.h"

#include <atomic>
#include <cstddef>
#include <cstring>
#include <stdexcept>

namespace Bench {

namespace {

std::atomic<DWORD> hostThread{0};
std::atomic<uint64_t> onHost[kRequestCount];
std::atomic<uint64_t> onOthers[kRequestCount];

void Count(Request request) {
  std::atomic<uint64_t>* const counts = GetCurrentThreadId() == hostThread ? onHost : onOthers;
  counts[request].fetch_add(1, std::memory_order_relaxed);
}

// The replacement for one imported function: counts the call and forwards it. `Tag` distinguishes
// functions of the same type.
template <int Tag, typename Function>
struct Hook;

template <int Tag, typename Result, typename... Arguments>
struct Hook<Tag, Result (*)(Arguments...)> {
  static inline Result (*original)(Arguments...) = nullptr;
  static inline Request request = kHeapAllocate;
  static Result Call(Arguments... arguments) {
    Count(request);
    return original(arguments...);
  }
};

struct Import {
  const char* name;
  Request request;
  void* replacement;
  void** original;
  Request* requestOfHook;
};

template <int Tag, typename Function>
Import MakeImport(const char* name, Request request) {
  using Replacement = Hook<Tag, Function>;
  return {name, request, reinterpret_cast<void*>(&Replacement::Call),
          reinterpret_cast<void**>(&Replacement::original), &Replacement::request};
}

// x64 has one calling convention for the functions of the C run-time and the system.
using OneSize = void* (*)(size_t);
using TwoSizes = void* (*)(size_t, size_t);
using Resize = void* (*)(void*, size_t);
using Free = void (*)(void*);

const Import kImports[] = {
    MakeImport<0, OneSize>("malloc", kHeapAllocate),
    MakeImport<1, TwoSizes>("calloc", kHeapAllocate),
    MakeImport<2, Resize>("realloc", kHeapAllocate),
    MakeImport<3, char* (*)(const char*)>("_strdup", kHeapAllocate),
    MakeImport<4, TwoSizes>("_aligned_malloc", kHeapAllocate),
    MakeImport<5, Free>("free", kHeapFree),
    MakeImport<6, Free>("_aligned_free", kHeapFree),
    MakeImport<7, void* (*)(HANDLE, DWORD, SIZE_T)>("HeapAlloc", kHeapAllocate),
    MakeImport<8, void* (*)(HANDLE, DWORD, void*, SIZE_T)>("HeapReAlloc", kHeapAllocate),
    MakeImport<9, BOOL (*)(HANDLE, DWORD, void*)>("HeapFree", kHeapFree),
    MakeImport<10, HLOCAL (*)(UINT, SIZE_T)>("LocalAlloc", kHeapAllocate),
    MakeImport<11, HGLOBAL (*)(UINT, SIZE_T)>("GlobalAlloc", kHeapAllocate),
    MakeImport<12, void* (*)(void*, SIZE_T, DWORD, DWORD)>("VirtualAlloc", kPageAllocate),
    MakeImport<13, BOOL (*)(void*, SIZE_T, DWORD)>("VirtualFree", kPageFree),
    MakeImport<14, BOOL (*)(HANDLE)>("SetEvent", kWake),
};

const Import* FindByName(const char* name) {
  for (const Import& import : kImports) {
    if (std::strcmp(import.name, name) == 0) {
      return &import;
    }
  }
  return nullptr;
}

const Import* FindByReplacement(const void* replacement) {
  for (const Import& import : kImports) {
    if (import.replacement == replacement) {
      return &import;
    }
  }
  return nullptr;
}

template <typename T>
T* At(HMODULE module, size_t offset) {
  return reinterpret_cast<T*>(reinterpret_cast<std::byte*>(module) + offset);
}

bool Write(void*& slot, void* function) {
  void* const page = static_cast<void*>(&slot);
  DWORD protection = 0;
  if (!VirtualProtect(page, sizeof slot, PAGE_READWRITE, &protection)) {
    return false;
  }
  slot = function;
  return VirtualProtect(page, sizeof slot, protection, &protection) != FALSE;
}

// Calls `visit(name, slot)` for every function that the module imports by name; `slot` is its
// address in the import table.
template <typename Visit>
void ForEachImport(HMODULE module, Visit visit) {
  const auto* const dos = At<IMAGE_DOS_HEADER>(module, 0);
  const auto* const headers = At<IMAGE_NT_HEADERS64>(module, static_cast<size_t>(dos->e_lfanew));
  const IMAGE_DATA_DIRECTORY& directory =
      headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  auto* library = At<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
  for (; library->Name != 0; ++library) {
    const auto* name = At<IMAGE_THUNK_DATA64>(module, library->OriginalFirstThunk);
    auto* slot = At<void*>(module, library->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
      if (!IMAGE_SNAP_BY_ORDINAL64(name->u1.Ordinal)) {
        const auto offset = static_cast<size_t>(name->u1.AddressOfData);
        visit(At<IMAGE_IMPORT_BY_NAME>(module, offset)->Name, *slot);
      }
    }
  }
}

RequestCounts Read(const std::atomic<uint64_t> (&counts)[kRequestCount]) {
  RequestCounts copy;
  for (int request = 0; request < kRequestCount; ++request) {
    copy.of[request] = counts[request];
  }
  return copy;
}

}  // namespace

ImportCounter::ImportCounter(HMODULE module) : module_(module) {
  int allocators = 0;
  ForEachImport(module, [&](const char* name, void*& slot) {
    if (const Import* const import = FindByName(name)) {
      *import->original = slot;
      *import->requestOfHook = import->request;
      if (!Write(slot, import->replacement)) {
        throw std::runtime_error("cannot change the import table");
      }
      allocators += import->request == kHeapAllocate ? 1 : 0;
    }
  });
  if (allocators == 0) {
    throw std::runtime_error("the library imports no function that allocates");
  }
  Restart();
}

ImportCounter::~ImportCounter() {
  ForEachImport(module_, [](const char*, void*& slot) {
    if (const Import* const import = FindByReplacement(slot)) {
      Write(slot, *import->original);
    }
  });
}

void ImportCounter::Restart() {
  hostThread = GetCurrentThreadId();
  for (int request = 0; request < kRequestCount; ++request) {
    onHost[request] = 0;
    onOthers[request] = 0;
  }
}

RequestCounts ImportCounter::OnHostThread() {
  return Read(onHost);
}

RequestCounts ImportCounter::OnOtherThreads() {
  return Read(onOthers);
}

}  // namespace Bench
