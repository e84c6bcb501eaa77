// Small stand-ins for two pieces of GCC's C++ run-time, for the DLL built with MinGW alone. The
// linker takes them in place of the archive members of libstdc++ that define the same functions,
// and with those it leaves out what nothing else needs: the symbol demangler (47 KB), and the
// exception classes with their reference-counted strings (56 KB). Should anything else pull those
// members in, the link fails with duplicate symbols.
#include <cstdlib>
#include <new>

namespace __gnu_cxx {

// What std::terminate runs. The usual one writes the exception's demangled name to standard error,
// which a host with windows does not have.
void __verbose_terminate_handler();
void __verbose_terminate_handler() {
  std::abort();
}

}  // namespace __gnu_cxx

namespace std {

// A container asked for more than there can be: to the callers, who handle std::bad_alloc, memory
// has run out.
void __throw_bad_alloc() {
  throw std::bad_alloc();
}
void __throw_bad_array_new_length() {
  throw std::bad_alloc();
}
void __throw_length_error(const char*) {
  throw std::bad_alloc();
}

// Mistakes in the library itself, which no caller handles.
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
