// Replacements for two parts of GCC's C++ run-time, for the MinGW build of the DLL only. They keep
// the linker from using the archive members of libstdc++ with the same functions, and so leave out
// the symbol demangler (47 KB) and the exception classes with their reference-counted strings (56
// KB). If anything else needs those members, the link fails with duplicate symbols.
#include <cstdlib>
#include <new>

namespace __gnu_cxx {

// Runs at std::terminate. The default writes the demangled name of the exception to standard error,
// which a host with a user interface does not have.
void __verbose_terminate_handler();
void __verbose_terminate_handler() {
  std::abort();
}

}  // namespace __gnu_cxx

namespace std {

// A container is asked for more elements than possible. The callers handle std::bad_alloc.
void __throw_bad_alloc() {
  throw std::bad_alloc();
}
void __throw_bad_array_new_length() {
  throw std::bad_alloc();
}
void __throw_length_error(const char*) {
  throw std::bad_alloc();
}

// Programming errors in the library.
void __throw_logic_error(const char*) {
  std::abort();
}
void __throw_invalid_argument(const char*) {
  std::abort();
}
void __throw_out_of_range(const char*) {
  std::abort();
}
void __throw_out_of_range_fmt(const char*, ...) {
  std::abort();
}

}  // namespace std
