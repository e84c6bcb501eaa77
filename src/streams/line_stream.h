// Reads text line by line without holding a line in memory.
#pragma once

#include "streams/stream.h"

namespace Tav {

// Reads deliver the bytes of the current line, without its end, and then nothing until NextLine. A
// line ends with LF or CR LF; any other CR belongs to the line. The last line needs no end, and an
// end at the very end of the text begins no further line. A filter on top of this one sees each
// line as a stream of its own.
class LineInputStream : public FilterInputStream {
 public:
  explicit LineInputStream(InputStream* inner) : FilterInputStream(inner) {}

  // Skips what is left of the current line and goes to the next, at first to the first. False when
  // there is none.
  bool NextLine();
  // The end of the stream below was met.
  bool AtEnd() const { return atEnd_; }

  int32_t ReadByte() override;
  size_t Read(void* buffer, size_t count) override;

 private:
  static constexpr int32_t kNone = -2;

  int32_t TakeByte();

  int32_t lookAhead_ = kNone;
  bool inLine_ = false;
  bool atEnd_ = false;
};

}  // namespace Tav
