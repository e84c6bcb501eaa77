#include "model/built_record.h"

#include <utility>

namespace Tav {

RecordList::RecordList(RecordList&& other) noexcept
    : head_(std::move(other.head_)),
      tail_(std::exchange(other.tail_, nullptr)),
      bytes_(std::exchange(other.bytes_, 0)) {}

RecordList& RecordList::operator=(RecordList&& other) noexcept {
  if (this != &other) {
    Clear();
    head_ = std::move(other.head_);
    tail_ = std::exchange(other.tail_, nullptr);
    bytes_ = std::exchange(other.bytes_, 0);
  }
  return *this;
}

size_t RecordList::Count() const {
  size_t count = 0;
  for (const BuiltRecord* record = head_.get(); record != nullptr; record = record->next.get()) {
    ++count;
  }
  return count;
}

void RecordList::Append(std::unique_ptr<BuiltRecord> record) {
  BuiltRecord* const last = record.get();
  bytes_ += record->Size();
  if (tail_ == nullptr) {
    head_ = std::move(record);
  } else {
    tail_->next = std::move(record);
  }
  tail_ = last;
}

void RecordList::AppendAll(RecordList&& others) noexcept {
  while (std::unique_ptr<BuiltRecord> record = others.TakeFirst()) {
    Append(std::move(record));
  }
}

std::unique_ptr<BuiltRecord> RecordList::TakeFirst() {
  std::unique_ptr<BuiltRecord> first = std::move(head_);
  if (first != nullptr) {
    bytes_ -= first->Size();
    head_ = std::move(first->next);
    if (head_ == nullptr) {
      tail_ = nullptr;
    }
  }
  return first;
}

// One by one: each record owns the next, and a long list must not be freed recursively.
void RecordList::Clear() {
  while (TakeFirst() != nullptr) {
  }
}

}  // namespace Tav
