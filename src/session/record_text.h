// The text of a record: a JSON object that is compressed while it is written.
#pragma once

#include <memory>

#include "model/built_record.h"
#include "streams/filter_stream.h"
#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"
#include "util/json_text.h"

namespace Tav {

// What is appended goes through the compressor in pieces, so that a record takes little memory
// beyond its compressed bytes. Used by one thread.
class RecordText {
 public:
  // Begins with the members of `header`, an object that is not empty.
  explicit RecordText(const json_t* header);

  // The end of the text. What is appended to it must make a complete document.
  JsonText& End() { return end_; }
  // Compresses the end once there is enough of it.
  void Compress() {
    if (end_.Size() >= kPiece) {
      WriteEnd();
    }
  }
  // Completes the object: compact JSON text in one gzip member. Null, after a message, when it
  // could not be compressed.
  std::unique_ptr<BuiltRecord> Finish();

 private:
  static constexpr size_t kPiece = size_t{32} << 10;

  void WriteEnd();

  MemoryOutputStream compressed_;
  GZipOutputStream gzip_;
  CounterOutputStream counter_;
  JsonText end_;
};

}  // namespace Tav
