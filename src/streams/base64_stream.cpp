#include "streams/base64_stream.h"

#include <algorithm>
#include <array>

namespace Tav {

namespace {

constexpr size_t kMaxErrorText = 32;
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr uint8_t kBad = 0xFF;

constexpr std::array<uint8_t, 256> kValues = [] {
  std::array<uint8_t, 256> values{};
  values.fill(kBad);
  for (uint8_t value = 0; value < 64; ++value) {
    values[static_cast<uint8_t>(kAlphabet[value])] = value;
  }
  return values;
}();

}  // namespace

Base64OutputStream::Base64OutputStream(OutputStream* inner)
    : FallibleOutputStream(inner, kMaxErrorText) {}

void Base64OutputStream::WriteGroup() {
  std::fill(held_ + heldCount_, held_ + 3, uint8_t{0});
  const uint32_t bits = (uint32_t{held_[0]} << 16) | (uint32_t{held_[1]} << 8) | held_[2];
  char group[4];
  for (size_t i = 0; i < 4; ++i) {
    group[i] = i <= heldCount_ ? kAlphabet[(bits >> (18 - 6 * i)) & 0x3F] : '=';
  }
  heldCount_ = 0;
  Inner()->Write(group, sizeof(group));
}

void Base64OutputStream::Write(const void* buffer, size_t count) {
  if (count != 0 && finished_) {
    Fail("Base-64 text already complete");
  }
  if (HasError()) {
    return;
  }
  const uint8_t* source = static_cast<const uint8_t*>(buffer);
  for (size_t i = 0; i < count; ++i) {
    held_[heldCount_++] = source[i];
    if (heldCount_ == 3) {
      WriteGroup();
    }
  }
}

void Base64OutputStream::Flush() {
  if (HasError()) {
    return;
  }
  if (heldCount_ != 0) {
    WriteGroup();
  }
  finished_ = true;
  Inner()->Flush();
}

Base64InputStream::Base64InputStream(InputStream* inner)
    : FallibleInputStream(inner, kMaxErrorText) {}

// Reads four characters. The first `characters` of them are data, the rest is padding.
bool Base64InputStream::ReadGroup(uint8_t (&sextets)[4], size_t& characters) {
  uint8_t group[4];
  const size_t got = Inner()->Read(group, sizeof(group));
  if (got == 0) {
    ended_ = true;
    return false;
  }
  characters = 0;
  size_t padding = 0;
  for (size_t i = 0; i < got; ++i) {
    if (group[i] == '=') {
      ++padding;
    } else if (kValues[group[i]] == kBad) {
      Fail("Bad base-64 character");
      return false;
    } else if (padding == 0) {
      sextets[characters++] = kValues[group[i]];
    } else {
      characters = 0;
      break;
    }
  }
  if (padding != 0 && (characters < 2)) {
    Fail("Misplaced '=' in base-64");
    return false;
  }
  if (got < sizeof(group)) {
    Fail("Incomplete base-64");
    return false;
  }
  return true;
}

bool Base64InputStream::DecodeGroup() {
  uint8_t sextets[4] = {};
  size_t characters = 0;
  if (ended_ || HasError() || !ReadGroup(sextets, characters)) {
    return false;
  }
  const uint32_t bits = (uint32_t{sextets[0]} << 18) | (uint32_t{sextets[1]} << 12) |
                        (uint32_t{sextets[2]} << 6) | sextets[3];
  for (size_t i = 0; i < 3; ++i) {
    decoded_[i] = static_cast<uint8_t>(bits >> (16 - 8 * i));
  }
  position_ = 0;
  fill_ = characters - 1;
  if (characters < 4) {
    ended_ = true;
    const int32_t next = Inner()->ReadByte();
    if (next >= 0) {
      if (next != '=' && kValues[static_cast<size_t>(next)] == kBad) {
        Fail("Bad base-64 character");
      } else {
        Fail("Misplaced '=' in base-64");
      }
    }
  }
  return true;
}

size_t Base64InputStream::Read(void* buffer, size_t count) {
  uint8_t* destination = static_cast<uint8_t*>(buffer);
  size_t delivered = 0;
  while (delivered < count) {
    if (position_ == fill_ && !DecodeGroup()) {
      break;
    }
    destination[delivered++] = decoded_[position_++];
  }
  return delivered;
}

}  // namespace Tav
