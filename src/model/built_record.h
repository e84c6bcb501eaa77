// Built records: compressed bytes, ready to be sent or cached, and lists of them.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace Tav {

// The data that a record carries besides events: the number of the latest change in it, 0 for none.
struct CarriedData {
  uint64_t product = 0;
  uint64_t machine = 0;
};

struct BuiltRecord {
  std::vector<uint8_t> bytes;  // one gzip member holding one JSON document
  CarriedData carried;         // nothing in a record from another run or from the host
  // This record settles the log of events up to this place; 0 if its events are not in the log.
  uint64_t logEnd = 0;
  // For a record from a cache file: the offset in the file at which the record ends. 0 if unknown.
  int64_t fileEnd = 0;
  std::unique_ptr<BuiltRecord> next;

  int Size() const { return static_cast<int>(bytes.size()); }
};

// Owns built records, oldest first. Used by one thread at a time.
class RecordList {
 public:
  RecordList() = default;
  RecordList(RecordList&& other) noexcept;
  RecordList& operator=(RecordList&& other) noexcept;
  ~RecordList() { Clear(); }

  bool Empty() const { return head_ == nullptr; }
  const BuiltRecord* First() const { return head_.get(); }
  // Exactly one record.
  bool HasOne() const { return head_ != nullptr && head_->next == nullptr; }
  size_t Count() const;
  // The sum of the sizes.
  int64_t Bytes() const { return bytes_; }

  void Append(std::unique_ptr<BuiltRecord> record);
  // Leaves `others` empty.
  void AppendAll(RecordList&& others) noexcept;
  // Null when empty.
  std::unique_ptr<BuiltRecord> TakeFirst();
  void Clear();

 private:
  std::unique_ptr<BuiltRecord> head_;
  BuiltRecord* tail_ = nullptr;
  int64_t bytes_ = 0;
};

}  // namespace Tav
