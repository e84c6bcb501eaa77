#include "fleet/backlog.h"

namespace Fleet {

void Backlog::RemoveNext(const Amount& next) {
  if (leased_ == 0) {
    memory_ -= next;
    return;
  }
  File& oldest = files_.front();
  oldest.content -= next;
  cached_ -= next.bytes;
  if (--leased_ == 0) {
    files_.erase(files_.begin());
  }
}

Amount Backlog::Flush(int64_t time, int64_t maxFiles, int64_t maxFileSize) {
  leased_ = 0;
  while (memory_.records > 0) {
    if (files_.empty() || files_.back().content.bytes >= maxFileSize) {
      files_.emplace_back();
    }
    const Amount record = One(memory_);
    files_.back().content += record;
    files_.back().written = time;
    cached_ += record.bytes;
    memory_ -= record;
  }
  Amount dropped;
  while (cached_ >= maxFiles * maxFileSize && files_.size() > 1) {
    dropped += files_.front().content;
    cached_ -= files_.front().content.bytes;
    files_.erase(files_.begin());
  }
  return dropped;
}

Amount Backlog::Total() const {
  Amount total = memory_;
  for (const File& file : files_) {
    total += file.content;
  }
  return total;
}

}  // namespace Fleet
