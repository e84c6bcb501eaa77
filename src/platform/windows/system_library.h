// Functions of libraries that Windows ships and that a host may do without: they are loaded when
// they are first needed, from the system's own folder and no other, so that a host pays neither the
// time nor the risk of a planted file when it starts.
#pragma once

namespace Tav::Platform {

using SystemFunctionPointer = void (*)();

// Null, with the reason in LastError, when there is no such library or function. A library that was
// loaded stays: user32 must not go once a thread has called it.
SystemFunctionPointer FindSystemFunction(const wchar_t* library, const char* name);

// Looks the function up; true when it is there.
template <typename Function>
bool FindSystemFunction(const wchar_t* library, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(FindSystemFunction(library, name));
  return function != nullptr;
}

}  // namespace Tav::Platform
