// Reads a file without disturbing other programs: nothing is created, changed or locked, they may
// write, rename and delete the file meanwhile, and it is closed as soon as it is read.
#pragma once

#include <cstdint>
#include <string>

namespace Tavcat {

enum class ReadResult {
  Whole,
  Missing,
  InUse,   // another program's sharing mode or lock forbids it
  Failed,  // with the reason in `reason`
};

struct FileContents {
  ReadResult result = ReadResult::Failed;
  std::string bytes;
  std::string reason;
  int64_t modifiedAt = 0;  // seconds since 1970
};

// The path is UTF-8. Retries for up to half a second if the file is in use or changes meanwhile.
FileContents ReadFile(const std::string& path);

}  // namespace Tavcat
