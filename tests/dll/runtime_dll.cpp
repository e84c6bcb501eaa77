// A library with the run-time of tav.dll, for the test of its failures.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <vector>

namespace {

void Provoke(int failure, size_t tooMuch) {
  std::string text = "text";
  std::vector<int> numbers;
  switch (failure) {
    case 0:
      text = text.substr(tooMuch);
      break;
    case 1:
      numbers.at(tooMuch) = 1;
      break;
    case 2:
      static_cast<void>(std::stoi(text));
      break;
    case 3:
      text = std::string(tooMuch != 0 ? nullptr : "");
      break;
    default:
      numbers.resize(~tooMuch);
      break;
  }
  std::printf("%s %d\n", text.c_str(), static_cast<int>(numbers.size()));
}

}  // namespace

// 0 if nothing is thrown, 1 for std::bad_alloc, 2 for another exception with a text.
extern "C" __declspec(dllexport) int Fail(int failure, size_t tooMuch) {
  try {
    Provoke(failure, tooMuch);
    return 0;
  } catch (const std::bad_alloc&) {
    return 1;
  } catch (const std::exception& exception) {
    return exception.what()[0] != '\0' ? 2 : 3;
  }
}

// Reads the number and writes it between a text and another number; returns what snprintf does.
extern "C" __declspec(dllexport) int Format(char* buffer, size_t size, const char* number) {
  return std::snprintf(buffer, size, "%s %.3f %lld", "text", std::strtod(number, nullptr), -7LL);
}
