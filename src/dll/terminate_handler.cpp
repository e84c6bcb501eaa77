// Keeps the DLL small: what the GNU C++ library says when a program terminates by an exception
// brings its symbol demangler along, a tenth of the DLL, for a text that no host would see.
// No exception leaves this library, so the function is never reached.
#include <cstdlib>

#ifdef __GLIBCXX__
namespace __gnu_cxx {

void __verbose_terminate_handler();

void __verbose_terminate_handler() {
  std::abort();
}

}  // namespace __gnu_cxx
#endif
