#include "journal/run_block.h"

#include <new>
#include <utility>

#include "util/byte_codec.h"
#include "util/value_codec.h"

namespace Tav {

namespace {

constexpr char kTags[] = "tags";
constexpr char kSessionEnvironment[] = "sessionEnvironment";
constexpr char kBreadcrumbLength[] = "breadcrumbLength";

// A run block that lacks a part would report events under a wrong identity.
void Require(bool done) {
  if (!done) {
    throw std::bad_alloc();
  }
}

void Set(const JsonPtr& object, std::string_view key, JsonPtr value) {
  Require(SetJsonMember(object.Get(), key, std::move(value)));
}

struct TextMember {
  const char* key;
  std::string& text;
};

// The texts of a block with their keys.
template <typename Visit>
void VisitTexts(RunBlock& block, Visit visit) {
  for (const TextMember member : {
           TextMember{"productName", block.product.name},
           TextMember{"productVersion", block.product.version},
           TextMember{"platform", block.product.platform},
           TextMember{"libraryVersion", block.libraryVersion},
           TextMember{"endpoint", block.endpointId},
           TextMember{"customer", block.customerId},
           TextMember{"user", block.userId},
           TextMember{"productContext", block.productContext},
           TextMember{"productComponent", block.productComponentName},
       }) {
    visit(member.key, member.text);
  }
}

JsonPtr TagsToJson(const TagMap& tags) {
  JsonPtr object(json_object());
  for (const auto& [category, names] : tags) {
    JsonPtr list(json_array());
    for (const std::string& name : names) {
      Require(json_array_append_new(list.Get(), MakeJsonString(name).Release()) == 0);
    }
    Set(object, category, std::move(list));
  }
  return object;
}

TagMap TagsFromJson(const json_t* object) {
  TagMap tags;
  const char* category = nullptr;
  json_t* list = nullptr;
  json_object_foreach(const_cast<json_t*>(object), category, list) {
    size_t index = 0;
    const json_t* name = nullptr;
    json_array_foreach(list, index, name) {
      tags[category].emplace_back(JsonStringView(name));
    }
  }
  return tags;
}

}  // namespace

std::vector<std::byte> EncodeRunBlock(const RunBlock& block) {
  const JsonPtr object(json_object());
  VisitTexts(const_cast<RunBlock&>(block), [&](const char* key, const std::string& text) {
    Set(object, key, MakeJsonString(text));
  });
  Set(object, kTags, TagsToJson(block.tags));
  if (block.sessionEnvironment) {
    Set(object, kSessionEnvironment, JsonPtr::Share(block.sessionEnvironment.Get()));
  }
  Set(object, kBreadcrumbLength, JsonPtr(json_real(block.breadcrumbLength)));
  ByteWriter measure({});
  WriteMembers(measure, object.Get());
  std::vector<std::byte> bytes(measure.Size());
  ByteWriter writer(bytes);
  WriteMembers(writer, object.Get());
  return bytes;
}

std::optional<RunBlock> DecodeRunBlock(std::span<const std::byte> bytes) {
  ByteReader reader(bytes);
  const JsonPtr object = ReadMembers(reader);
  if (!object) {
    Require(reader.Failed());
    return std::nullopt;
  }
  RunBlock block;
  VisitTexts(block, [&](const char* key, std::string& text) {
    text = JsonStringView(json_object_get(object.Get(), key));
  });
  block.tags = TagsFromJson(json_object_get(object.Get(), kTags));
  json_t* const environment = json_object_get(object.Get(), kSessionEnvironment);
  if (json_is_object(environment)) {
    block.sessionEnvironment = JsonPtr::Share(environment);
  }
  const double length = json_number_value(json_object_get(object.Get(), kBreadcrumbLength));
  constexpr double kMaxLength = 1e6;
  block.breadcrumbLength = length > 0 && length < kMaxLength ? static_cast<int>(length) : 0;
  return block;
}

}  // namespace Tav
