#include "platform/windows/wide_text.h"

#include <windows.h>

namespace Tav::Platform {

namespace {

std::wstring Decode(unsigned int codePage, DWORD flags, std::string_view text) {
  const int size = static_cast<int>(text.size());
  const int length = MultiByteToWideChar(codePage, flags, text.data(), size, nullptr, 0);
  std::wstring wide(static_cast<size_t>(length > 0 ? length : 0), L'\0');
  if (length > 0) {
    MultiByteToWideChar(codePage, flags, text.data(), size, wide.data(), length);
  }
  return wide;
}

}  // namespace

std::wstring ToWide(std::string_view text) {
  if (text.empty()) {
    return {};
  }
  std::wstring wide = Decode(CP_UTF8, MB_ERR_INVALID_CHARS, text);
  return wide.empty() ? Decode(CP_ACP, 0, text) : wide;
}

std::string ToUtf8(std::wstring_view text) {
  const int size = static_cast<int>(text.size());
  const int length =
      size > 0 ? WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr)
               : 0;
  std::string utf8(static_cast<size_t>(length > 0 ? length : 0), '\0');
  if (length > 0) {
    WideCharToMultiByte(CP_UTF8, 0, text.data(), size, utf8.data(), length, nullptr, nullptr);
  }
  return utf8;
}

}  // namespace Tav::Platform
