#include "storage/persistent_storage.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "platform/file.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr std::string_view kMainFileName = "TavData";
constexpr std::string_view kTimestampsPrefix = "Ts";
// Of a product in one file: others may be able to write to the files.
constexpr size_t kMaxVersions = 500;

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
  document_.Close();
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
  JsonPtr root;
  if (file_.IsOpen()) {
    root = file_.Read(parseError_);
    if (!update) {
      file_.Close();
    }
  }
  document_.Open(std::move(root));
  return true;
}

bool PersistentStorage::Close(Changes changes) {
  if (document_.IsOpen()) {
    TAV_TRACE("PS: Closing PS file");
  }
  if (file_.IsOpen()) {
    if (changes == Changes::Save && document_.IsOpen()) {
      file_.Write(document_.Root());
    }
    file_.Close();
  }
  document_.Close();
  parseError_ = false;
  openError_ = false;
  return true;
}

bool PersistentStorage::RemoveProduct(const ProductIdentity& product) {
  if (!document_.IsOpen()) {
    LogWarning("PS: PS is not open");
    return false;
  }
  return document_.RemoveProduct(product);
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

// Products are added at the end of a file.
std::vector<std::string> OtherVersions(const ProductIdentity& product,
                                       const std::optional<StorageLocation>& location) {
  using Access = PersistentStorage::Access;
  std::vector<std::string> versions;
  PersistentStorage storage(location);
  const StorageCloser closer(storage);
  for (const auto open : {&PersistentStorage::Open, &PersistentStorage::OpenTimestamps}) {
    (storage.*open)(Access::Read);
    const std::vector<ProductIdentity> products = storage.GetProducts();
    const size_t end = versions.size() + kMaxVersions;
    for (auto other = products.rbegin(); other != products.rend() && versions.size() < end;
         ++other) {
      const bool isOther = other->name == product.name && other->version != product.version;
      if (isOther && std::ranges::find(versions, other->version) == versions.end()) {
        versions.push_back(other->version);
      }
    }
    storage.Close(PersistentStorage::Changes::Discard);
  }
  return versions;
}

}  // namespace Tav
