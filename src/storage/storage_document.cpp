#include "storage/storage_document.h"

#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "storage/storage_keys.h"
#include "util/logger.h"
#include "util/text.h"

namespace Tav {

namespace {

using namespace StorageKeys;

std::string Text(const json_t* object, const char* key) {
  return std::string(JsonStringView(json_object_get(object, key)));
}

bool HasText(const json_t* object, const char* key, std::string_view text) {
  const json_t* const value = json_object_get(object, key);
  return json_is_string(value) && JsonStringView(value) == text;
}

bool SetIdentityPart(json_t* product, const char* key, const std::string& text) {
  if (!SetJsonMember(product, key, MakeJsonString(text))) {
    LogError("PS: Cannot create json string for '%s'", text.c_str());
    return false;
  }
  return true;
}

// As a document has it: a host's version may have a few sequences that JSON does not know as UTF-8.
std::string Stored(const std::string& text) {
  if (IsAscii(text)) {
    return text;
  }
  const JsonPtr stored = MakeJsonString(text);
  if (!stored) {
    throw std::bad_alloc();
  }
  return std::string(JsonStringView(stored.Get()));
}

}  // namespace

void StorageDocument::Open(JsonPtr root) {
  root_ = std::move(root);
  if (!root_) {
    root_.Reset(json_object());
    json_object_set_new(root_.Get(), kProducts, json_array());
  }
}

json_t* StorageDocument::Products() const {
  return json_object_get(root_.Get(), kProducts);
}

int StorageDocument::IndexOf(const ProductIdentity& product) const {
  const json_t* const products = Products();
  const std::string version = Stored(product.version);
  size_t index = 0;
  const json_t* element = nullptr;
  json_array_foreach(products, index, element) {
    if (!json_is_object(element)) {
      LogWarning("PS: Product array element is not a map");
    } else if (HasText(element, kName, product.name) && HasText(element, kVersion, version) &&
               HasText(element, kPlatform, product.platform)) {
      return static_cast<int>(index);
    }
  }
  return -1;
}

json_t* StorageDocument::FindProduct(const ProductIdentity& product) const {
  const int index = IndexOf(product);
  return index < 0 ? nullptr : json_array_get(Products(), static_cast<size_t>(index));
}

json_t* StorageDocument::AddProduct(const ProductIdentity& product) {
  JsonPtr added(json_object());
  if (!SetIdentityPart(added.Get(), kName, product.name) ||
      !SetIdentityPart(added.Get(), kVersion, product.version) ||
      !SetIdentityPart(added.Get(), kPlatform, product.platform)) {
    return nullptr;
  }
  json_t* const element = added.Get();
  return json_array_append_new(Products(), added.Release()) == 0 ? element : nullptr;
}

bool StorageDocument::RemoveProduct(const ProductIdentity& product) {
  const int index = IndexOf(product);
  if (index < 0) {
    TAV_DEBUG("PS: Product not found for removal");
    return false;
  }
  return json_array_remove(Products(), static_cast<size_t>(index)) == 0;
}

std::vector<ProductIdentity> StorageDocument::GetProducts() const {
  std::vector<ProductIdentity> identities;
  const json_t* const products = Products();
  size_t index = 0;
  const json_t* element = nullptr;
  json_array_foreach(products, index, element) {
    if (json_is_object(element)) {
      identities.push_back(
          {Text(element, kName), Text(element, kVersion), Text(element, kPlatform)});
    }
  }
  return identities;
}

}  // namespace Tav
