// Replacements for functions of MinGW that format and read numbers, for the MinGW build of the DLL
// only. They use those of the system's C run-time, and so leave out MinGW's own (36 KB). The
// system's do not know the length modifiers hh, j, z, t and L (tools/checks/rules.sh), and write
// exponents with three digits. If anything else needs the members of MinGW's library with the same
// functions, the link fails with duplicate symbols.
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

extern "C" {

// std::vsnprintf and std::snprintf.
int __mingw_vsnprintf(char* text, size_t size, const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  int length = _vsnprintf(text, size, format, arguments);
  if (length < 0 || static_cast<size_t>(length) >= size) {  // then it may not end the text
    if (size != 0) {
      text[size - 1] = '\0';
    }
    length = _vscprintf(format, again);
  }
  va_end(again);
  return length;
}

// std::fprintf.
int __mingw_vfprintf(std::FILE* file, const char* format, va_list arguments) {
  return __ms_vfprintf(file, format, arguments);
}

// std::strtod, which jansson calls.
double __mingw_strtod(const char* text, char** end) {
  return _strtod_l(text, end, nullptr);
}

// std::strtoll, which jansson calls.
long long strtoll(const char* text, char** end, int base) {
  return _strtoi64(text, end, base);
}

}  // extern "C"
