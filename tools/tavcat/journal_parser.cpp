#include "tavcat/journal_parser.h"

#include <bit>
#include <utility>

#include "util/text.h"

namespace Tavcat {

namespace {

constexpr int kMaxDepth = 16;

enum Tag : unsigned { kEnd = 0, kText = 1, kReal = 2, kObject = 3, kArray = 4, kItem = 5 };

}  // namespace

std::string_view JournalParser::Take(size_t count) {
  if (!good_ || count > rest_.size()) {
    good_ = false;
    return {};
  }
  const std::string_view taken = rest_.substr(0, count);
  rest_.remove_prefix(count);
  return taken;
}

unsigned JournalParser::Byte() {
  const std::string_view byte = Take(1);
  return good_ ? static_cast<unsigned char>(byte[0]) : 0;
}

std::string_view JournalParser::Text() {
  uint64_t length = 0;
  unsigned group = 0x80;
  for (int shift = 0; good_ && (group & 0x80U) != 0; shift += 7) {
    good_ = shift < 35;  // at most five groups
    group = Byte();
    length |= uint64_t{group & 0x7FU} << shift;
  }
  const std::string_view text = Take(static_cast<size_t>(length));
  good_ = good_ && Tav::IsUtf8(text);
  return good_ ? text : std::string_view();
}

namespace {

// An item whose key has another value already is left out.
void AppendItem(json_t* object, std::string_view key, Tav::JsonPtr item) {
  json_t* const array = json_object_getn(object, key.data(), key.size());
  if (array == nullptr) {
    Tav::JsonPtr created(json_array());
    json_array_append_new(created.Get(), item.Release());
    Tav::SetJsonMember(object, key, std::move(created));
  } else if (json_is_array(array)) {
    json_array_append_new(array, item.Release());
  }
}

}  // namespace

Tav::JsonPtr JournalParser::Object() {
  Tav::JsonPtr object(json_object());
  Members(object.Get(), 1);
  return good_ ? std::move(object) : Tav::JsonPtr();
}

// Of an object or an array.
void JournalParser::Members(json_t* container, int depth) {
  good_ = good_ && depth <= kMaxDepth;
  const bool named = json_is_object(container);
  for (unsigned tag = Byte(); good_ && tag != kEnd; tag = Byte()) {
    const std::string_view key = named ? Text() : std::string_view();
    const bool isItem = named && tag == kItem;
    Tav::JsonPtr value = isItem ? Value(kObject, depth + 1) : Value(tag, depth);
    if (!good_ || !value) {
      continue;
    }
    if (isItem) {
      AppendItem(container, key, std::move(value));
    } else if (named) {
      Tav::SetJsonMember(container, key, std::move(value));
    } else {
      json_array_append_new(container, value.Release());
    }
  }
}

// Null also for a number that JSON does not have.
Tav::JsonPtr JournalParser::Value(unsigned tag, int depth) {
  if (tag == kText) {
    return Tav::MakeJsonString(Text());
  }
  if (tag == kReal) {
    const std::string_view bytes = Take(8);
    return Tav::JsonPtr(good_ ? json_real(std::bit_cast<double>(At<uint64_t>(bytes, 0))) : nullptr);
  }
  good_ = good_ && (tag == kObject || tag == kArray);
  if (!good_) {
    return Tav::JsonPtr();
  }
  Tav::JsonPtr container(tag == kObject ? json_object() : json_array());
  Members(container.Get(), depth + 1);
  return container;
}

}  // namespace Tavcat
