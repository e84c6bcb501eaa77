// Conversion between the library's UTF-8 and the system's UTF-16.
#pragma once

#include <string>
#include <string_view>

namespace Tav::Platform {

// Decodes text that is not valid UTF-8 in the ANSI code page.
std::wstring ToWide(std::string_view text);

// Unpaired surrogates become U+FFFD.
std::string ToUtf8(std::wstring_view text);

}  // namespace Tav::Platform
