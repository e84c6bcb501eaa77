#include "gateway/text_forms.h"

#include <cstddef>

namespace Gateway {
namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// In a pattern '0' stands for a decimal digit, 'x' for a lower-case hexadecimal one and everything
// else for itself.
bool Matches(std::string_view text, std::string_view pattern) {
  if (text.size() != pattern.size()) {
    return false;
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool fits = pattern[i] == '0'   ? IsDigit(c)
                      : pattern[i] == 'x' ? IsDigit(c) || (c >= 'a' && c <= 'f')
                                          : c == pattern[i];
    if (!fits) {
      return false;
    }
  }
  return true;
}

int Number(std::string_view digits) {
  int number = 0;
  for (const char c : digits) {
    number = 10 * number + (c - '0');
  }
  return number;
}

int DaysInMonth(int year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return kDays[month - 1] + (month == 2 && isLeap ? 1 : 0);
}

bool IsOffset(std::string_view text) {
  if (text == "Z") {
    return true;
  }
  return (Matches(text, "+00:00") || Matches(text, "-00:00")) && Number(text.substr(1, 2)) < 24 &&
         Number(text.substr(4, 2)) < 60;
}

}  // namespace

bool IsTimeStamp(std::string_view text) {
  constexpr std::string_view kLocalForm = "0000-00-00T00:00:00.000";
  if (!Matches(text.substr(0, kLocalForm.size()), kLocalForm) ||
      !IsOffset(text.substr(kLocalForm.size()))) {
    return false;
  }
  const int month = Number(text.substr(5, 2));
  const int day = Number(text.substr(8, 2));
  if (month < 1 || month > 12) {
    return false;
  }
  return day >= 1 && day <= DaysInMonth(Number(text.substr(0, 4)), month) &&
         Number(text.substr(11, 2)) < 24 && Number(text.substr(14, 2)) < 60 &&
         Number(text.substr(17, 2)) < 60;
}

bool IsSessionId(std::string_view text) {
  return Matches(text, "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx");
}

bool IsLibraryVersion(std::string_view text) {
  int numbers = 0;
  bool inNumber = false;
  for (const char c : text) {
    if (IsDigit(c)) {
      numbers += inNumber ? 0 : 1;
      inNumber = true;
    } else if (c == '.' && inNumber) {
      inNumber = false;
    } else {
      return false;
    }
  }
  return inNumber && numbers == 4;
}

}  // namespace Gateway
