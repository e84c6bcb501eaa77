// The journal file of one run: a head, then segments. docs/journal-format.md describes it.
//
// The process that creates the file owns it until the run or the process ends. If another process
// can open the file, the run is therefore over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "journal/journal_head.h"
#include "journal/segment.h"
#include "platform/mapped_file.h"

namespace Tav {

// A new name that begins with `prefix`.
std::string NewJournalFileName(std::string_view prefix);
bool IsJournalFileName(std::string_view prefix, std::string_view name);

// A file that is mapped as a whole or piece by piece, with its head. Blocks on the disk. One thread
// at a time.
class JournalFile {
 public:
  enum class Lease {
    Taken,
    InUse,  // its process lives, or another one reads it
    Missing,
    Unknown,  // a later format, damaged from its start, or not a plain file
  };

  // Creates the file of a run that begins at `startTime`, in milliseconds since 1970. Null if the
  // system refuses, with the reason in errno.
  static std::unique_ptr<JournalFile> Create(const std::string& path,
                                             std::span<const std::byte> runBlock,
                                             int64_t startTime);
  // Takes the file of a dead run into `file`, with all of its segments. Deletes a file whose
  // process died while creating it: it holds nothing. Takes an unknown file, too, if it is a plain
  // one; such a file has only a size and can be removed.
  static Lease Take(const std::string& path, std::unique_ptr<JournalFile>& file);

  // Unmaps everything. The file stays.
  ~JournalFile();
  JournalFile(const JournalFile&) = delete;
  JournalFile& operator=(const JournalFile&) = delete;

  JournalHead& Head() { return *head_; }
  const JournalHead& Head() const { return *head_; }
  // Bytes.
  int64_t Size() const { return size_; }
  // All segments, in the order of the file.
  std::vector<Segment> Segments() const;

  // Adds a segment at the end of the file, mapped, with its pages in memory. Null if the disk is
  // full, memory runs out or the system refuses, with the reason in errno.
  std::byte* AddSegment();

  // Unmaps and deletes the file; nothing of it must be used any more. False, and the file stays, if
  // the system refuses.
  bool Remove();

 private:
  JournalFile() = default;
  bool CreateHead(const std::string& path, std::span<const std::byte> runBlock, int64_t startTime);
  bool MapAll();
  bool IsUnfinished() const;
  std::byte* MapPiece(size_t size);
  void UnmapAll();

  struct Piece {
    std::byte* memory;
    size_t size;
  };

  Platform::MappedFile file_;
  std::vector<Piece> pieces_;  // adjacent, from the start of the file
  std::unique_ptr<JournalHead> head_;
  int64_t size_ = 0;
};

}  // namespace Tav
