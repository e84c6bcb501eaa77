#include "tav_library.h"

#include <windows.h>

namespace DocumentEditor {
namespace {

// The full path of tav.dll beside the program: a bare name would also be looked for elsewhere.
std::wstring PathBesideProgram() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path.substr(0, path.find_last_of(L'\\') + 1) + L"tav.dll";
}

}  // namespace

TavLibrary::TavLibrary() {
  const HMODULE module = LoadLibraryW(PathBesideProgram().c_str());
  if (module == nullptr) {
    error_ = "tav.dll cannot be loaded: system error " + std::to_string(GetLastError());
    return;
  }
  module_ = module;
  // By way of void (*)(), the one function type that any other may be converted through.
  const auto loader = reinterpret_cast<TavLoaderFunction>(
      reinterpret_cast<void (*)()>(GetProcAddress(module, TAV_LOADER_NAME)));
  table_ = loader != nullptr ? loader(TAV_INTERFACE_VERSION) : nullptr;
  if (table_ == nullptr) {
    error_ = "tav.dll does not serve interface version " + std::to_string(TAV_INTERFACE_VERSION);
  }
}

TavLibrary::~TavLibrary() {
  if (module_ != nullptr) {
    FreeLibrary(static_cast<HMODULE>(module_));
  }
}

}  // namespace DocumentEditor
