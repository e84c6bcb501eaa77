// Looks up functions of system libraries at run time. Loading tav.dll on a host's thread therefore
// loads none of these libraries. The thread that first needs one loads it, which can take tens of
// milliseconds. They are loaded from the system folder only, so no planted file is ever loaded.
#pragma once

#include <atomic>

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

// A function that is looked up when it is first called. Any thread.
template <typename Function>
class SystemFunction;

template <typename Result, typename... Arguments>
class SystemFunction<Result(Arguments...)> {
 public:
  // `failure` is the result while the function cannot be found; the reason is in LastError.
  constexpr SystemFunction(const wchar_t* library, const char* name, Result failure = Result())
      : library_(library), name_(name), failure_(failure) {}

  Result operator()(Arguments... arguments) noexcept {
    Result (*function)(Arguments...) = found_.load(std::memory_order_acquire);
    if (function == nullptr) {
      if (!FindSystemFunction(library_, name_, function)) {
        return failure_;
      }
      found_.store(function, std::memory_order_release);
    }
    return function(arguments...);
  }

 private:
  const wchar_t* const library_;
  const char* const name_;
  const Result failure_;
  std::atomic<Result (*)(Arguments...)> found_{nullptr};
};

}  // namespace Tav::Platform
