// Looks up functions of system libraries at run time, so that a host does not load these libraries
// at start. They are loaded from the system folder only: no planted file is ever loaded.
#pragma once

namespace Tav::Platform {

using SystemFunctionPointer = void (*)();

// Null, with the reason in LastError, if the library or the function does not exist. The library
// stays loaded: user32 must not be unloaded once a thread has called it.
SystemFunctionPointer FindSystemFunction(const wchar_t* library, const char* name);

// The same, with the function's type. False if it does not exist.
template <typename Function>
bool FindSystemFunction(const wchar_t* library, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(FindSystemFunction(library, name));
  return function != nullptr;
}

}  // namespace Tav::Platform
