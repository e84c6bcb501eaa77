// A file that one process owns and maps into its memory piece by piece. What is stored in a mapped
// piece survives the death of the process: its pages belong to the system.
//
// Paths are UTF-8. A function that fails leaves the reason in errno. Used by one thread at a time;
// the mapped memory is the caller's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/file.h"

namespace Tav::Platform {

// A piece begins at a multiple of this.
inline constexpr size_t kMapGranularity = size_t{64} << 10;

// While the file is open here nobody else can open it through this class, and on Windows nobody can
// write to it, rename it or delete it. The system ends the ownership when the process dies.
class MappedFile {
 public:
  MappedFile() = default;
  ~MappedFile() { Close(); }
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  // Creates the file. Fails if the name is taken.
  bool Create(const std::string& path);
  // Takes an existing file. InUse while its owner lives.
  OpenResult Open(const std::string& path);
  bool IsOpen() const { return descriptor_ != kNone; }
  // The file stays. Pieces that are still mapped stay valid.
  void Close();
  // Deletes the file and closes it. No piece may be mapped.
  bool Remove();

  // Bytes; -1 on failure.
  int64_t Size() const;
  // Appends `size` zero bytes and allocates their disk space. False if the disk is full;
  // the file then has its old size, or is somewhat longer.
  bool Extend(size_t size);

  // Maps `size` bytes from `offset` for reading and writing; null on failure. They must lie within
  // the file. Unmap ends it, also after Close.
  std::byte* Map(int64_t offset, size_t size);
  static void Unmap(std::byte* piece, size_t size);

 private:
  static constexpr intptr_t kNone = -1;
  intptr_t descriptor_ = kNone;  // a handle on Windows
  std::string path_;             // where the system does not delete through a handle
};

// Whether the directory is on a disk of this machine that keeps what mapped files hold: not on the
// network, not removable.
bool IsLocalDisk(const std::string& directory);

}  // namespace Tav::Platform
