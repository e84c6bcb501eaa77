// Counts the bytes that pass.
#pragma once

#include "streams/stream.h"

namespace Tav {

// Counts what is written to it and passes it on to `inner`, which it borrows; without one the bytes
// are only counted.
class CounterOutputStream : public OutputStream {
 public:
  explicit CounterOutputStream(OutputStream* inner = nullptr) : inner_(inner) {}

  void Close() override;
  void Flush() override;
  void Write(const void* buffer, size_t count) override;
  bool HasError() const override { return inner_ != nullptr && inner_->HasError(); }
  const char* ErrorText() const override { return inner_ == nullptr ? "" : inner_->ErrorText(); }

  uint64_t Count() const { return count_; }

 private:
  OutputStream* inner_;
  uint64_t count_ = 0;
};

}  // namespace Tav
