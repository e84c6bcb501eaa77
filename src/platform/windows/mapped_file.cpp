#include "platform/mapped_file.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/error.h"
#include "platform/windows/wide_text.h"

namespace Tav::Platform {

namespace {

constexpr DWORD kAccess = GENERIC_READ | GENERIC_WRITE | DELETE;

HANDLE Handle(intptr_t descriptor) {
  return reinterpret_cast<HANDLE>(descriptor);
}

int ErrnoOf(DWORD reason) {
  switch (reason) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return ENOENT;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return EEXIST;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return ENOSPC;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_COMMITMENT_LIMIT:
      return ENOMEM;
    default:
      return EACCES;
  }
}

// Keeps the last error and sets errno by it.
bool Fail() {
  errno = ErrnoOf(::GetLastError());
  return false;
}

HANDLE OpenHandle(const std::string& path, DWORD disposition) {
  // The link itself is opened in place of what it points to, and is then found not to be a file.
  return CreateFileW(ToWide(path).c_str(), kAccess, FILE_SHARE_READ, nullptr, disposition,
                     FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
}

constexpr DWORD kMaxPath = 32768;

bool IsOnFixedDrive(const std::wstring& path) {
  std::wstring volume(kMaxPath, L'\0');
  if (!GetVolumePathNameW(path.c_str(), volume.data(), kMaxPath)) {
    return Fail();
  }
  return GetDriveTypeW(volume.c_str()) == DRIVE_FIXED;
}

bool IsPlainFile(HANDLE handle) {
  constexpr DWORD kOther = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY;
  BY_HANDLE_FILE_INFORMATION status;
  return GetFileInformationByHandle(handle, &status) && (status.dwFileAttributes & kOther) == 0 &&
         status.nNumberOfLinks == 1;
}

}  // namespace

bool MappedFile::Create(const std::string& path) {
  Close();
  HANDLE handle = OpenHandle(path, CREATE_NEW);
  if (handle == INVALID_HANDLE_VALUE) {
    return Fail();
  }
  descriptor_ = reinterpret_cast<intptr_t>(handle);
  // Zeros take no space in a compressed file, so a full disk would show only at a later store.
  constexpr DWORD kWithoutSpace = FILE_ATTRIBUTE_COMPRESSED | FILE_ATTRIBUTE_SPARSE_FILE;
  BY_HANDLE_FILE_INFORMATION status;
  if (!GetFileInformationByHandle(handle, &status) ||
      (status.dwFileAttributes & kWithoutSpace) != 0) {
    Remove();
    errno = EACCES;
    return false;
  }
  return true;
}

OpenResult MappedFile::Open(const std::string& path) {
  Close();
  HANDLE handle = OpenHandle(path, OPEN_EXISTING);
  if (handle == INVALID_HANDLE_VALUE) {
    Fail();
    if (errno == ENOENT) {
      return OpenResult::Missing;
    }
    return ::GetLastError() == ERROR_SHARING_VIOLATION ? OpenResult::InUse : OpenResult::Failed;
  }
  if (!IsPlainFile(handle)) {
    CloseHandle(handle);
    errno = EACCES;
    return OpenResult::Failed;
  }
  descriptor_ = reinterpret_cast<intptr_t>(handle);
  return OpenResult::Opened;
}

void MappedFile::Close() {
  if (IsOpen()) {
    const ErrorKeeper keeper;
    CloseHandle(Handle(descriptor_));
    descriptor_ = kNone;
  }
}

// Through the handle: a name may belong to another file by now.
bool MappedFile::Remove() {
  if (!IsOpen()) {
    return false;
  }
  FILE_DISPOSITION_INFO disposition{};
  disposition.DeleteFile = TRUE;
  const bool removed = SetFileInformationByHandle(Handle(descriptor_), FileDispositionInfo,
                                                  &disposition, sizeof disposition) != FALSE;
  if (!removed) {
    Fail();
  }
  Close();
  return removed;
}

int64_t MappedFile::Size() const {
  LARGE_INTEGER size{};
  if (!GetFileSizeEx(Handle(descriptor_), &size)) {
    Fail();
    return -1;
  }
  return size.QuadPart;
}

// Zeros are written to allocate disk space. If the file were only made longer, a store into its
// pages could raise an exception on a full disk.
bool MappedFile::Extend(size_t size) {
  // Not const: constants take space in the DLL.
  static constinit std::array<char, 65536> zeros{};
  LARGE_INTEGER end{};
  if (!SetFilePointerEx(Handle(descriptor_), {}, &end, FILE_END)) {
    return Fail();
  }
  while (size > 0) {
    DWORD written = 0;
    if (!WriteFile(Handle(descriptor_), zeros.data(),
                   static_cast<DWORD>(std::min(size, zeros.size())), &written, nullptr) ||
        written == 0) {
      return Fail();
    }
    size -= written;
  }
  return true;
}

std::byte* MappedFile::Map(int64_t offset, size_t size) {
  const uint64_t end = static_cast<uint64_t>(offset) + size;
  HANDLE section =
      CreateFileMappingW(Handle(descriptor_), nullptr, PAGE_READWRITE,
                         static_cast<DWORD>(end >> 32), static_cast<DWORD>(end), nullptr);
  if (section == nullptr) {
    Fail();
    return nullptr;
  }
  const auto start = static_cast<uint64_t>(offset);
  void* const piece =
      MapViewOfFile(section, FILE_MAP_READ | FILE_MAP_WRITE, static_cast<DWORD>(start >> 32),
                    static_cast<DWORD>(start), size);
  if (piece == nullptr) {
    Fail();
  }
  const ErrorKeeper keeper;
  CloseHandle(section);  // the view keeps the section
  return static_cast<std::byte*>(piece);
}

void MappedFile::Unmap(std::byte* piece, size_t) {
  if (piece != nullptr) {
    const ErrorKeeper keeper;
    UnmapViewOfFile(piece);
  }
}

// By the place that the folder is found at in the end: links, mount points and substituted drives
// may lead to the network.
bool IsLocalDisk(const std::string& directory) {
  const std::wstring path = ToWide(directory);
  if (!IsOnFixedDrive(path)) {
    return false;
  }
  HANDLE handle =
      CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    return Fail();
  }
  FILE_REMOTE_PROTOCOL_INFO protocol;
  bool local =
      !GetFileInformationByHandleEx(handle, FileRemoteProtocolInfo, &protocol, sizeof protocol);
  std::wstring target(kMaxPath, L'\0');
  const DWORD length = GetFinalPathNameByHandleW(handle, target.data(), kMaxPath, 0);
  // Without a name, the volume is mounted as a folder only, as no network drive is.
  if (length > 0 && length < kMaxPath) {
    target.resize(length);
    local = local && !target.starts_with(L"\\\\?\\UNC\\") && IsOnFixedDrive(target);
  }
  CloseHandle(handle);
  return local;
}

}  // namespace Tav::Platform
