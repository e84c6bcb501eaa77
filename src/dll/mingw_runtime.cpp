// Replacements for parts of the run-times of GCC and MinGW, for the MinGW build of the DLL only.
// They keep the linker from using the archive members with the same functions, and so leave out the
// symbol demangler (47 KB), the exception classes with their reference-counted strings (56 KB) and
// the relocation of imported data (3 KB). If anything else needs those members, the link fails with
// duplicate symbols.
#include <cstdlib>
#include <exception>
#include <new>

namespace {

// Stands for std::logic_error and the classes derived from it.
class LogicFailure final : public std::exception {
 public:
  // `text` is a literal of the run-time.
  explicit LogicFailure(const char* text) : text_(text) {}
  const char* what() const noexcept override { return text_; }

 private:
  const char* text_;
};

}  // namespace

// Called at the start of the DLL. With --disable-auto-import there is nothing to relocate.
extern "C" void _pei386_runtime_relocator(void);
void _pei386_runtime_relocator(void) {}

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

// Defects of the library. They must not end the host, so they are exceptions: the C API and the
// threads log them.
void __throw_logic_error(const char* text) {
  throw LogicFailure(text);
}
void __throw_invalid_argument(const char* text) {
  throw LogicFailure(text);
}
void __throw_out_of_range(const char* text) {
  throw LogicFailure(text);
}
// The text has its conversions instead of the numbers.
void __throw_out_of_range_fmt(const char* format, ...) {
  throw LogicFailure(format);
}

}  // namespace std
