// Base64 text (RFC 4648, standard alphabet, padded with '='). The encoder writes no line breaks and
// the decoder rejects them, like every character outside the alphabet.
#pragma once

#include "streams/stream.h"

namespace Tav {

// Flush completes the text with its padding. A later Write fails.
class Base64OutputStream : public FallibleOutputStream {
 public:
  explicit Base64OutputStream(OutputStream* inner);

  void Flush() override;
  void Write(const void* buffer, size_t count) override;

 private:
  void WriteGroup();

  uint8_t held_[3] = {};
  size_t heldCount_ = 0;
  bool finished_ = false;
};

// Fails with "Bad base-64 character", "Misplaced '=' in base-64" or, if the text ends within a
// group of four characters, "Incomplete base-64". Delivers what was decoded before the failure.
class Base64InputStream : public FallibleInputStream {
 public:
  explicit Base64InputStream(InputStream* inner);

  size_t Read(void* buffer, size_t count) override;

 private:
  bool DecodeGroup();
  bool ReadGroup(uint8_t (&sextets)[4], size_t& characters);

  uint8_t decoded_[3] = {};
  size_t position_ = 0;
  size_t fill_ = 0;
  bool ended_ = false;
};

}  // namespace Tav
