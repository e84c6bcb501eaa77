#include "streams/counter_stream.h"

namespace Tav {

void CounterOutputStream::Close() {
  if (inner_ != nullptr) {
    inner_->Close();
  }
}

void CounterOutputStream::Flush() {
  if (inner_ != nullptr) {
    inner_->Flush();
  }
}

void CounterOutputStream::Write(const void* buffer, size_t count) {
  count_ += count;
  if (inner_ != nullptr) {
    inner_->Write(buffer, count);
  }
}

}  // namespace Tav
