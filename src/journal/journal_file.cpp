#include "journal/journal_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "platform/guarded_copy.h"
#include "platform/identifiers.h"
#include "util/format.h"

namespace Tav {

namespace {

constexpr size_t kNameBytes = 8;

// Loads the pages now, on this thread, and not when a host stores its first entry there. Zeros were
// written to the file, so nothing changes. False if a page cannot be loaded.
bool Touch(std::byte* memory, size_t size) {
  constexpr size_t kPage = 4096;
  for (size_t i = 0; i < size; i += kPage) {
    if (!Platform::StoreGuarded(memory + i, 0)) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::string NewJournalFileName(std::string_view prefix) {
  const Platform::Uuid uuid = Platform::NewUniqueUuid();
  uint8_t bytes[kNameBytes];
  std::memcpy(bytes, &uuid.data1, sizeof uuid.data1);
  std::memcpy(bytes + sizeof uuid.data1, uuid.data4 + sizeof uuid.data1,
              kNameBytes - sizeof uuid.data1);
  return std::string(prefix) + HexText(bytes, kNameBytes);
}

bool IsJournalFileName(std::string_view prefix, std::string_view name) {
  return name.size() == prefix.size() + 2 * kNameBytes && name.starts_with(prefix) &&
         name.find_first_not_of("0123456789abcdef", prefix.size()) == std::string_view::npos;
}

std::unique_ptr<JournalFile> JournalFile::Create(const std::string& path,
                                                 std::span<const std::byte> runBlock,
                                                 int64_t startTime) {
  std::unique_ptr<JournalFile> file(new JournalFile);
  return file->CreateHead(path, runBlock, startTime) ? std::move(file) : nullptr;
}

bool JournalFile::CreateHead(const std::string& path,
                             std::span<const std::byte> runBlock,
                             int64_t startTime) {
  if (!file_.Create(path)) {
    return false;
  }
  const size_t size = JournalHead::SizeFor(runBlock.size());
  std::byte* const memory = MapPiece(size);
  if (memory == nullptr) {
    const int reason = errno;
    Remove();
    errno = reason;
    return false;
  }
  head_ = std::make_unique<JournalHead>(JournalHead::Create({memory, size}, startTime));
  return head_->WriteRunBlock(runBlock);
}

// Extends the file by a piece and maps it. An attempt that failed may have added some of the zeros.
std::byte* JournalFile::MapPiece(size_t size) {
  const int64_t present = file_.Size() - size_;
  if (present < 0 || (present < static_cast<int64_t>(size) &&
                      !file_.Extend(size - static_cast<size_t>(present)))) {
    return nullptr;
  }
  pieces_.reserve(pieces_.size() + 1);  // throws before there is a mapping
  std::byte* const memory = file_.Map(size_, size);
  if (memory != nullptr) {
    pieces_.push_back({memory, size});
    size_ += static_cast<int64_t>(size);
  }
  return memory;
}

std::byte* JournalFile::AddSegment() try {
  std::byte* const memory = MapPiece(kSegmentSize);
  if (memory == nullptr || Touch(memory, kSegmentSize)) {
    return memory;
  }
  Platform::MappedFile::Unmap(memory, kSegmentSize);
  pieces_.pop_back();
  size_ -= static_cast<int64_t>(kSegmentSize);
  errno = EIO;
  return nullptr;
} catch (const std::bad_alloc&) {
  errno = ENOMEM;
  return nullptr;
}

JournalFile::Lease JournalFile::Take(const std::string& path, std::unique_ptr<JournalFile>& file) {
  std::unique_ptr<JournalFile> taken(new JournalFile);
  switch (taken->file_.Open(path)) {
    case Platform::OpenResult::Opened:
      break;
    case Platform::OpenResult::InUse:
      return Lease::InUse;
    case Platform::OpenResult::Missing:
      return Lease::Missing;
    case Platform::OpenResult::Refused:
    case Platform::OpenResult::Failed:
      return Lease::Unknown;
  }
  const bool known = taken->MapAll();
  if (!known && taken->IsUnfinished()) {
    return taken->Remove() ? Lease::Missing : Lease::Unknown;
  }
  file = std::move(taken);
  return known ? Lease::Taken : Lease::Unknown;
}

bool JournalFile::MapAll() {
  constexpr int64_t kMaxSize = int64_t{1} << 30;
  const int64_t size = file_.Size();
  size_ = size;
  if (size <= 0 || size > kMaxSize) {
    return false;
  }
  std::byte* const memory = file_.Map(0, static_cast<size_t>(size));
  if (memory == nullptr) {
    return false;
  }
  pieces_.push_back({memory, static_cast<size_t>(size)});
  if (const std::optional<JournalHead> head =
          JournalHead::Read({memory, static_cast<size_t>(size)})) {
    head_ = std::make_unique<JournalHead>(*head);
  }
  return head_ != nullptr;
}

// No segment is added before the head is complete.
bool JournalFile::IsUnfinished() const {
  if (pieces_.empty()) {
    return file_.Size() == 0;
  }
  return size_ < static_cast<int64_t>(kSegmentSize) &&
         JournalHead::IsMissing({pieces_.front().memory, static_cast<size_t>(size_)});
}

std::vector<Segment> JournalFile::Segments() const {
  std::vector<Segment> segments;
  for (const Piece& piece : pieces_) {
    // The last segment of a file that was cut short is a part of one.
    size_t offset = piece.memory == pieces_.front().memory ? head_->Size() : 0;
    for (; offset + kSegmentHeadSize <= piece.size; offset += kSegmentSize) {
      segments.emplace_back(piece.memory + offset, std::min(kSegmentSize, piece.size - offset));
    }
  }
  return segments;
}

void JournalFile::UnmapAll() {
  for (const Piece& piece : pieces_) {
    Platform::MappedFile::Unmap(piece.memory, piece.size);
  }
  pieces_.clear();
  head_.reset();
}

bool JournalFile::Remove() {
  UnmapAll();
  return file_.Remove();
}

JournalFile::~JournalFile() {
  UnmapAll();
}

}  // namespace Tav
