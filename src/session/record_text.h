// The text of a record: a JSON object that is compressed while it is written.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "model/built_record.h"
#include "streams/filter_stream.h"
#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"
#include "util/json.h"

namespace Tav {

// Members are appended to a text; what has been written goes through the compressor in pieces, so
// that a record takes little memory beyond its compressed bytes. Used by one thread.
class RecordText {
 public:
  // Begins with the members of `header`, an object that is not empty.
  explicit RecordText(const json_t* header);

  // The end of the text. What is appended to it must be part of a complete document in the end.
  std::string& End() { return end_; }
  // Compresses the text if enough of it has been appended.
  void Compress() {
    if (end_.size() >= kPiece) {
      WriteEnd();
    }
  }

  // Appends a member to the outermost object.
  void AddString(std::string_view name, std::string_view text);
  // Completes the object: compact JSON text in one gzip member. Null, after a message, when it
  // could not be compressed.
  std::unique_ptr<BuiltRecord> Finish();

 private:
  static constexpr size_t kPiece = size_t{32} << 10;

  void WriteEnd();

  MemoryOutputStream compressed_;
  GZipOutputStream gzip_;
  CounterOutputStream counter_;
  std::string end_;
};

}  // namespace Tav
