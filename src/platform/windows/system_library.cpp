#include "platform/windows/system_library.h"

#include <windows.h>

#include <cwchar>

namespace Tav::Platform {

namespace {

constexpr UINT kPathCapacity = MAX_PATH;
constexpr size_t kNameCapacity = 32;

// By its full path, because a bare name also matches a library of that name that the program has
// loaded from elsewhere. The flag makes the system folder the only place for what the library
// needs.
HMODULE LoadSystemLibrary(const wchar_t* name) {
  wchar_t path[kPathCapacity + kNameCapacity];
  const UINT length = GetSystemDirectoryW(path, kPathCapacity);
  if (length == 0) {
    return nullptr;
  }
  if (length >= kPathCapacity || std::wcslen(name) + 2 > kNameCapacity) {
    SetLastError(ERROR_FILENAME_EXCED_RANGE);
    return nullptr;
  }
  path[length] = L'\\';
  std::wcscpy(path + length + 1, name);
  return LoadLibraryExW(path, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
}

}  // namespace

SystemFunctionPointer FindSystemFunction(const wchar_t* library, const char* name) {
  const HMODULE module = LoadSystemLibrary(library);
  return module ? reinterpret_cast<SystemFunctionPointer>(GetProcAddress(module, name)) : nullptr;
}

}  // namespace Tav::Platform
