#include "util/json_members.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <new>
#include <string_view>

#include "util/byte_codec.h"
#include "util/json.h"
#include "util/text.h"
#include "util/value_codec.h"

namespace Tav {

namespace {

// Reads an object's members that are strings or numbers.
class PlainMembers {
 public:
  explicit PlainMembers(std::span<const std::byte> members) : reader_(members) {}

  // False after the last one, and at a member of another kind or damage.
  bool Next() {
    tag_ = static_cast<ValueTag>(reader_.Fixed<uint8_t>());
    if (tag_ != ValueTag::String && tag_ != ValueTag::Real) {
      return false;
    }
    key_ = reader_.Text();
    if (tag_ == ValueTag::String) {
      text_ = reader_.Text();
    } else {
      text_ = {};
      number_ = reader_.Fixed<double>();
    }
    return !reader_.Failed();
  }
  bool AtEnd() const { return tag_ == ValueTag::End && !reader_.Failed(); }

  std::string_view Key() const { return key_; }
  bool IsString() const { return tag_ == ValueTag::String; }
  std::string_view Text() const { return text_; }
  double Number() const { return number_; }

 private:
  ByteReader reader_;
  ValueTag tag_ = ValueTag::End;
  std::string_view key_;
  std::string_view text_;
  double number_ = 0;
};

// The keys of an object, to find those that appear twice.
class Keys {
 public:
  // False if the key is there already or there are too many.
  bool Add(std::string_view key) {
    const uint64_t bit = BitOf(key);
    if (count_ == keys_.size() || ((bits_ & bit) != 0 && Contains(key))) {
      return false;
    }
    bits_ |= bit;
    keys_[count_++] = key;
    return true;
  }

 private:
  static uint64_t BitOf(std::string_view key) {
    const size_t hash = key.empty()
                            ? 0
                            : key.size() * 7 + static_cast<unsigned char>(key.front()) * 3u +
                                  static_cast<unsigned char>(key.back());
    return uint64_t{1} << (hash & 63);
  }
  bool Contains(std::string_view key) const {
    for (size_t i = 0; i < count_; ++i) {
      if (keys_[i] == key) {
        return true;
      }
    }
    return false;
  }

  std::array<std::string_view, 64> keys_;
  size_t count_ = 0;
  uint64_t bits_ = 0;  // one for each key; most different keys have different bits
};

// Nearly all events: a few strings and numbers with different ASCII keys. False for others.
bool AddPlainMembers(JsonText& text, std::span<const std::byte> bytes) {
  PlainMembers members(bytes);
  Keys keys;
  char separator = '{';
  while (members.Next()) {
    // JSON has no such number.
    if (!members.IsString() && !std::isfinite(members.Number())) {
      continue;
    }
    if (!IsAscii(members.Key()) || !keys.Add(members.Key()) || !IsUtf8(members.Text())) {
      return false;
    }
    text.AddName(separator, members.Key());
    separator = ',';
    if (members.IsString()) {
      text.AddString(members.Text());
    } else {
      text.AddReal(members.Number());
    }
  }
  text.Add(separator == '{' ? "{}" : "}");
  return members.AtEnd();
}

}  // namespace

bool AddMembers(JsonText& text, std::span<const std::byte> members) {
  const size_t before = text.Size();
  if (AddPlainMembers(text, members)) {
    return true;
  }
  text.CutTo(before);
  ByteReader reader(members);
  const JsonPtr object = ReadMembers(reader);
  if (reader.Failed()) {
    return false;
  }
  if (!object) {
    throw std::bad_alloc();
  }
  text.AddValue(object.Get());
  return true;
}

}  // namespace Tav
