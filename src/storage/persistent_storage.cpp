#include "storage/persistent_storage.h"

#include <utility>

#include "platform/file.h"
#include "storage/storage_keys.h"
#include "util/logger.h"

namespace Tav {

namespace {

using namespace StorageKeys;

constexpr std::string_view kMainFileName = "TavData";
constexpr std::string_view kTimestampsPrefix = "Ts";

JsonPtr EmptyDocument() {
  JsonPtr root(json_object());
  json_object_set_new(root.Get(), kProducts, json_array());
  return root;
}

std::string Text(const json_t* object, const char* key) {
  return std::string(JsonStringView(json_object_get(object, key)));
}

bool HasText(const json_t* object, const char* key, const std::string& text) {
  const json_t* const value = json_object_get(object, key);
  return json_is_string(value) && JsonStringView(value) == text;
}

void SetIdentityPart(json_t* product, const char* key, const std::string& text) {
  JsonPtr value(json_string(text.c_str()));
  if (!value) {
    LogError("PS: Cannot create json string for '%s'", text.c_str());
    return;
  }
  json_object_set_new(product, key, value.Release());
}

}  // namespace

std::string PersistentStorage::GetPSFileSpec(Document document) {
  return FileSpec(document, AlternateStorage());
}

std::string PersistentStorage::FileSpec(Document document, const StorageLocation& location) {
  std::string name = location.fileName.empty() ? std::string(kMainFileName) : location.fileName;
  if (document == Document::Timestamps) {
    name.insert(0, kTimestampsPrefix);
  }
  TAV_TRACE("PS: PS file: '%s'", name.c_str());
  return JoinStoragePath(name, location);
}

void PersistentStorage::SetAlternatePS(std::string_view path) {
  const std::string whole = Platform::PathToUtf8(path);
  const size_t nameStart = whole.find_last_of("/\\") + 1;
  if (nameStart != 0) {
    SetAlternateStorageDirectory(std::string_view(whole).substr(0, nameStart));
  }
  std::string name = whole.substr(nameStart);
  TAV_TRACE("PS: Setting alternate PS to %s", name.c_str());
  SetAlternateStorageName(std::move(name));
}

void PersistentStorage::SetAlternatePSDirectory(std::string_view directory) {
  SetAlternateStorageDirectory(directory);
  TAV_DEBUG("PS: Set alternate PS directory to: %s", Platform::PathToUtf8(directory).c_str());
}

StorageLocation PersistentStorage::LocationOfRun(std::string_view directory) {
  StorageLocation location = AlternateStorage();
  if (!directory.empty()) {
    location.directory = NormalStorageDirectory(directory);
    TAV_DEBUG("PS: Set alternate PS directory to: %s", Platform::PathToUtf8(directory).c_str());
  }
  return location;
}

std::string PersistentStorage::Path(Document document) const {
  return location_ ? FileSpec(document, *location_) : GetPSFileSpec(document);
}

bool PersistentStorage::OpenDocument(Document document, Access access) {
  TAV_TRACE("PS: Opening PS file");
  root_.Reset();
  file_.Close();
  parseError_ = false;
  openError_ = false;
  const bool update = access == Access::Update;
  const std::string path = Path(document);
  if (path.empty()) {
    LogError("PS: Open (update: %d): Could not form PS spec.", update);
    return false;
  }
  // Opening creates a missing file; a read must not.
  if (update || StorageFile::Exists(path)) {
    openError_ = !file_.Open(path, lockWait_);
  }
  if (file_.IsOpen()) {
    root_ = file_.Read(parseError_);
    if (!update) {
      file_.Close();
    }
  }
  if (!root_) {
    root_ = EmptyDocument();
  }
  return true;
}

bool PersistentStorage::Close(Changes changes) {
  if (root_) {
    TAV_TRACE("PS: Closing PS file");
  }
  if (file_.IsOpen()) {
    if (changes == Changes::Save && root_) {
      file_.Write(root_.Get());
    }
    file_.Close();
  }
  root_.Reset();
  parseError_ = false;
  openError_ = false;
  return true;
}

json_t* PersistentStorage::Products() const {
  return json_object_get(root_.Get(), kProducts);
}

int PersistentStorage::FindProduct(const ProductIdentity& product) const {
  const json_t* const products = Products();
  size_t index = 0;
  const json_t* element = nullptr;
  json_array_foreach(products, index, element) {
    if (!json_is_object(element)) {
      LogWarning("PS: Product array element is not a map");
    } else if (HasText(element, kName, product.name) &&
               HasText(element, kVersion, product.version) &&
               HasText(element, kPlatform, product.platform)) {
      return static_cast<int>(index);
    }
  }
  return -1;
}

json_t* PersistentStorage::ProductAt(int index) const {
  return index < 0 ? nullptr : json_array_get(Products(), static_cast<size_t>(index));
}

json_t* PersistentStorage::AddProduct(const ProductIdentity& product) {
  JsonPtr added(json_object());
  SetIdentityPart(added.Get(), kName, product.name);
  SetIdentityPart(added.Get(), kVersion, product.version);
  SetIdentityPart(added.Get(), kPlatform, product.platform);
  json_t* const element = added.Get();
  return json_array_append_new(Products(), added.Release()) == 0 ? element : nullptr;
}

bool PersistentStorage::RemoveProduct(const ProductIdentity& product) {
  if (!root_) {
    LogWarning("PS: PS is not open");
    return false;
  }
  const int index = FindProduct(product);
  if (index < 0) {
    TAV_DEBUG("PS: Product not found for removal");
    return false;
  }
  return json_array_remove(Products(), static_cast<size_t>(index)) == 0;
}

std::vector<ProductIdentity> PersistentStorage::GetProducts() const {
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

bool PersistentStorage::Destroy() {
  for (const Document document : {Document::Main, Document::Timestamps}) {
    const std::string path = Path(document);
    if (path.empty() || !StorageFile::Delete(path)) {
      return false;
    }
  }
  return true;
}

}  // namespace Tav
