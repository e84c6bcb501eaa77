// Reading a file without disturbing anybody: nothing is created, changed or locked, others may
// write, rename and delete the file meanwhile, and it is closed again as soon as it is read.
#pragma once

#include <cstdint>
#include <string>

namespace Tavcat {

enum class ReadResult {
  Whole,
  Missing,
  InUse,   // somebody's sharing or lock forbids it
  Failed,  // for `reason`
};

struct FileContents {
  ReadResult result = ReadResult::Failed;
  std::string bytes;
  std::string reason;
  int64_t modifiedAt = 0;  // seconds since 1970
};

// The path is UTF-8. A file that is in use, or changes while it is read, is tried again for up to
// half a second.
FileContents ReadFile(const std::string& path);

}  // namespace Tavcat
