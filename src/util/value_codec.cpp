#include "util/value_codec.h"

#include <cmath>
#include <utility>

#include "util/text.h"

namespace Tav {

namespace {

using Tag = ValueTag;

void PutTag(ByteWriter& writer, Tag tag) {
  writer.Fixed(static_cast<uint8_t>(tag));
}

// End for a value that the form does not know.
Tag TagOf(const json_t* value, int depth) {
  if (json_is_string(value)) {
    return Tag::String;
  }
  if (json_is_number(value)) {
    return Tag::Real;
  }
  if (depth >= kMaxValueDepth) {
    return Tag::End;
  }
  return json_is_object(value) ? Tag::Object : json_is_array(value) ? Tag::Array : Tag::End;
}

void WriteObject(ByteWriter& writer, const json_t* object, int depth);
void WriteArray(ByteWriter& writer, const json_t* array, int depth);

void WriteValue(ByteWriter& writer, const json_t* value, Tag tag, int depth) {
  switch (tag) {
    case Tag::End:
      break;
    case Tag::String:
      writer.Text(JsonStringView(value));
      break;
    case Tag::Real:
      writer.Fixed(json_number_value(value));
      break;
    case Tag::Object:
      WriteObject(writer, value, depth + 1);
      break;
    case Tag::Array:
      WriteArray(writer, value, depth + 1);
      break;
    case Tag::Item:  // never made from a value
      break;
  }
}

void WriteObject(ByteWriter& writer, const json_t* object, int depth) {
  // jansson iterates over a constant object only through this cast; nothing is changed.
  auto* const members = const_cast<json_t*>(object);
  for (void* at = json_object_iter(members); at != nullptr;
       at = json_object_iter_next(members, at)) {
    const json_t* const value = json_object_iter_value(at);
    const Tag tag = TagOf(value, depth);
    if (tag != Tag::End) {
      PutTag(writer, tag);
      writer.Text(json_object_iter_key(at));
      WriteValue(writer, value, tag, depth);
    }
  }
  PutTag(writer, Tag::End);
}

void WriteArray(ByteWriter& writer, const json_t* array, int depth) {
  size_t index = 0;
  const json_t* element = nullptr;
  json_array_foreach(array, index, element) {
    const Tag tag = TagOf(element, depth);
    if (tag != Tag::End) {
      PutTag(writer, tag);
      WriteValue(writer, element, tag, depth);
    }
  }
  PutTag(writer, Tag::End);
}

// Reads values and makes them with `Maker`, which may make none.
template <typename Maker>
class Parser {
 public:
  using Value = typename Maker::Value;

  explicit Parser(ByteReader& reader) : reader_(reader) {}

  Value Object(int depth) { return Container(Maker::Object(), depth, true); }

 private:
  Value Container(Value container, int depth, bool named) {
    if (depth > kMaxValueDepth) {
      reader_.Fail();
    }
    for (Tag tag = ReadTag(); tag != Tag::End; tag = ReadTag()) {
      const std::string_view key = named ? ReadText() : std::string_view();
      Value value = tag == Tag::Item && named ? Container(Maker::Object(), depth + 2, true)
                                              : ReadValue(tag, depth);
      if (reader_.Failed() ||
          !(tag == Tag::Item ? Maker::Append(container, key, std::move(value))
                             : Maker::Add(container, named, key, std::move(value)))) {
        return Value();
      }
    }
    return reader_.Failed() ? Value() : std::move(container);
  }

  Value ReadValue(Tag tag, int depth) {
    switch (tag) {
      case Tag::String:
        return Maker::String(ReadText());
      case Tag::Real:
        return Maker::Real(reader_.template Fixed<double>());
      case Tag::Object:
        return Container(Maker::Object(), depth + 1, true);
      case Tag::Array:
        return Container(Maker::Array(), depth + 1, false);
      case Tag::End:
      case Tag::Item:
        break;
    }
    reader_.Fail();
    return Value();
  }

  Tag ReadTag() { return static_cast<Tag>(reader_.template Fixed<uint8_t>()); }

  std::string_view ReadText() {
    const std::string_view text = reader_.Text();
    if (!IsUtf8(text)) {
      reader_.Fail();
    }
    return text;
  }

  ByteReader& reader_;
};

struct JsonMaker {
  using Value = JsonPtr;
  static Value Object() { return JsonPtr(json_object()); }
  static Value Array() { return JsonPtr(json_array()); }
  static Value String(std::string_view text) { return MakeJsonString(text); }
  // A number that JSON cannot hold was never accepted from a host. It is left out: null stands for
  // it, which the form does not have and which takes no memory.
  static Value Real(double number) {
    return JsonPtr(std::isfinite(number) ? json_real(number) : json_null());
  }
  static bool Add(Value& container, bool named, std::string_view key, Value value) {
    if (!container || !value) {
      return false;
    }
    if (json_is_null(value.Get())) {
      return true;
    }
    return named ? SetJsonMember(container.Get(), key, std::move(value))
                 : json_array_append_new(container.Get(), value.Release()) == 0;
  }
  // An item whose key has another value already is left out.
  static bool Append(Value& container, std::string_view key, Value item) {
    if (!container || !item) {
      return false;
    }
    json_t* const array = json_object_getn(container.Get(), key.data(), key.size());
    if (array == nullptr) {
      Value created(json_array());
      return created && json_array_append_new(created.Get(), item.Release()) == 0 &&
             SetJsonMember(container.Get(), key, std::move(created));
    }
    return !json_is_array(array) || json_array_append_new(array, item.Release()) == 0;
  }
};

struct NothingMaker {
  struct Value {};
  static Value Object() { return {}; }
  static Value Array() { return {}; }
  static Value String(std::string_view) { return {}; }
  static Value Real(double) { return {}; }
  static bool Add(Value&, bool, std::string_view, Value) { return true; }
  static bool Append(Value&, std::string_view, Value) { return true; }
};

}  // namespace

void WriteMembers(ByteWriter& writer, const json_t* object) {
  WriteObject(writer, object, 1);
}

JsonPtr ReadMembers(ByteReader& reader) {
  return Parser<JsonMaker>(reader).Object(1);
}

void SkipMembers(ByteReader& reader) {
  Parser<NothingMaker>(reader).Object(1);
}

}  // namespace Tav
