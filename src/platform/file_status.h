// What the system knows about a file without opening it.
#pragma once

#include <cstdint>

namespace Tav::Platform {

struct FileStatus {
  int64_t size = 0;        // bytes
  int64_t modifiedAt = 0;  // whole seconds since 1970
};

// Tells the truth also about a file that somebody has open. The path is UTF-8. False, with the
// reason in errno (ENOENT when there is no such file), when nothing can be told.
bool QueryFileStatus(const char* path, FileStatus& status);

}  // namespace Tav::Platform
