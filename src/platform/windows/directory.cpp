// Names, status and lists of files, without opening them.
#include <direct.h>
#include <errno.h>
#include <io.h>
#include <stdio.h>
#include <windows.h>

#include "platform/file.h"
#include "platform/windows/file_time.h"
#include "platform/windows/wide_text.h"

namespace Tav::Platform {

namespace {

// Owns a directory listing.
class FileSearch {
 public:
  explicit FileSearch(const std::wstring& pattern)
      : handle_(_wfindfirst64(pattern.c_str(), &entry_)) {}
  FileSearch(const FileSearch&) = delete;
  FileSearch& operator=(const FileSearch&) = delete;
  ~FileSearch() {
    if (Found()) {
      _findclose(handle_);
    }
  }

  bool Found() const { return handle_ != -1; }
  const _wfinddata64_t& Entry() const { return entry_; }
  bool Next() { return _wfindnext64(handle_, &entry_) == 0; }

 private:
  _wfinddata64_t entry_{};
  const intptr_t handle_;
};

}  // namespace

bool RemoveFile(const char* path) {
  return _wremove(ToWide(path).c_str()) == 0;
}

bool RenameFile(const char* from, const char* to) {
  return _wrename(ToWide(from).c_str(), ToWide(to).c_str()) == 0;
}

bool FileExists(const char* path) {
  return _waccess(ToWide(path).c_str(), 0) == 0;
}

// Not the C run-time's stat: it reads the directory entry, which is not updated while a file is
// open.
bool QueryFileStatus(const char* path, FileStatus& status) {
  WIN32_FILE_ATTRIBUTE_DATA found;
  if (!GetFileAttributesExW(ToWide(path).c_str(), GetFileExInfoStandard, &found)) {
    const DWORD reason = GetLastError();
    errno = reason == ERROR_FILE_NOT_FOUND || reason == ERROR_PATH_NOT_FOUND ? ENOENT : EACCES;
    return false;
  }
  status.size =
      static_cast<int64_t>(static_cast<uint64_t>(found.nFileSizeHigh) << 32 | found.nFileSizeLow);
  status.modifiedAt = ToUnixSeconds(found.ftLastWriteTime);
  return true;
}

bool DirectoryExists(const std::string& path) {
  const DWORD attributes = GetFileAttributesW(ToWide(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool MakeDirectory(const std::string& path) {
  return _wmkdir(ToWide(path).c_str()) == 0;
}

bool ListFiles(const char* directory, std::vector<std::string>& names) {
  names.clear();
  FileSearch search(ToWide(directory) + L"\\*");
  if (!search.Found()) {
    return false;
  }
  do {
    if ((search.Entry().attrib & _A_SUBDIR) == 0) {
      names.push_back(ToUtf8(search.Entry().name));
    }
  } while (search.Next());
  return true;
}

}  // namespace Tav::Platform
