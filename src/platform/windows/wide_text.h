// Between the library's UTF-8 and the system's UTF-16.
#pragma once

#include <string>
#include <string_view>

namespace Tav::Platform {

// Text that is no valid UTF-8 is taken in the ANSI code page.
std::wstring ToWide(std::string_view text);

// Unpaired surrogates become U+FFFD.
std::string ToUtf8(std::wstring_view text);

}  // namespace Tav::Platform
