#include "journal/dead_journal.h"

#include <algorithm>
#include <utility>

#include "util/sort.h"

namespace Tav {

DeadJournal::DeadJournal(std::unique_ptr<JournalFile> file)
    : file_(std::move(file)),
      run_(DecodeRunBlock(file_->Head().RunBlockBytes())),
      entry_(std::make_unique_for_overwrite<std::byte[]>(kSegmentSize)),
      copy_{entry_.get()} {
  for (const Segment& segment : file_->Segments()) {
    const std::optional<uint64_t> word = segment.Load();
    copy_.failed = copy_.failed || !word;
    if (segment.Number() != 0) {
      segments_.push_back(segment);
    }
  }
  SortBy(segments_, &Segment::Number);
}

std::optional<DeadJournal::Item> DeadJournal::Next() {
  for (; segment_ < segments_.size(); ++segment_, offset_ = kSegmentHeadSize) {
    const Segment& segment = segments_[segment_];
    const bool failedBefore = std::exchange(copy_.failed, false);
    const std::optional<EntryView> view = segment.At(offset_, &copy_);
    if (copy_.failed) {
      unread_.emplace(segment_, offset_);
    }
    copy_.failed = copy_.failed || failedBefore;
    if (view) {
      const auto end = static_cast<uint32_t>(offset_ + view->Size());
      Item item{segment_, offset_, end, end <= segment.Settled(), *view};
      offset_ = end;
      return item;
    }
    damaged_ += !copy_.failed && segment.DamagedAt(offset_) ? 1 : 0;
  }
  return std::nullopt;
}

void DeadJournal::Settle(const Item& item) {
  for (; settledSegments_ < item.segment; ++settledSegments_) {
    // What could not be read now may be readable for a later run.
    if (const auto unread = unread_.find(settledSegments_); unread != unread_.end()) {
      segments_[settledSegments_].Settle(unread->second);
    } else {
      segments_[settledSegments_].Release();
    }
  }
  segments_[item.segment].Settle(item.end);
}

int64_t DeadJournal::NewestTime(size_t segment) {
  int64_t newest = 0;
  uint32_t offset = kSegmentHeadSize;
  while (const std::optional<EntryView> view = segments_[segment].At(offset, &copy_)) {
    newest = std::max(newest, view->Fields().time.unixMilliseconds);
    offset += static_cast<uint32_t>(view->Size());
  }
  return newest;
}

}  // namespace Tav
