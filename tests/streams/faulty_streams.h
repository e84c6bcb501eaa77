// Streams that fail on purpose, to put below a filter under test, and helpers to drive streams.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "streams/stream.h"

namespace Tav {

// Delivers `data` and then fails with "broken source".
class FailingInputStream : public InputStream {
 public:
  explicit FailingInputStream(std::string data) : data_(std::move(data)) {}

  size_t Read(void* buffer, size_t count) override {
    const size_t delivered = data_.copy(static_cast<char*>(buffer), count, position_);
    position_ += delivered;
    failed_ = failed_ || delivered < count;
    return delivered;
  }
  bool HasError() const override { return failed_; }
  const char* ErrorText() const override { return failed_ ? "broken source" : ""; }

 private:
  std::string data_;
  size_t position_ = 0;
  bool failed_ = false;
};

// Records each Write and fails with "broken sink" after `room` bytes.
class RecordingOutputStream : public OutputStream {
 public:
  explicit RecordingOutputStream(size_t room = SIZE_MAX) : room_(room) {}

  void Flush() override { ++flushes; }
  void Write(const void* buffer, size_t count) override {
    writes.emplace_back(static_cast<const char*>(buffer), count);
    failed_ = failed_ || count > room_;
    room_ -= std::min(room_, count);
  }
  bool HasError() const override { return failed_; }
  const char* ErrorText() const override { return failed_ ? "broken sink" : ""; }

  std::string All() const {
    std::string all;
    for (const std::string& write : writes) {
      all += write;
    }
    return all;
  }

  std::vector<std::string> writes;
  int flushes = 0;

 private:
  size_t room_;
  bool failed_ = false;
};

inline void WriteInPieces(OutputStream& stream, const std::string& data, size_t piece) {
  for (size_t at = 0; at < data.size(); at += piece) {
    stream.Write(data.data() + at, std::min(piece, data.size() - at));
  }
}

// Reads until the stream delivers nothing, in pieces of `piece` bytes.
inline std::string ReadAll(InputStream& stream, size_t piece = 1024) {
  std::string all;
  std::vector<char> buffer(piece);
  while (const size_t got = stream.Read(buffer.data(), piece)) {
    all.append(buffer.data(), got);
  }
  return all;
}

}  // namespace Tav
