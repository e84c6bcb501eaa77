// C streams by UTF-8 path.
#pragma once

#include <cstdio>

namespace Tav::Platform {

// fopen for a UTF-8 path. A path that is no valid UTF-8 is taken in the system's own encoding. The
// caller owns the stream; null on failure, with the reason in errno. Child processes do not inherit
// it. Other processes may open the file meanwhile.
std::FILE* OpenFile(const char* utf8Path, const char* mode);

}  // namespace Tav::Platform
