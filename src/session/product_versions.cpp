#include "session/product_versions.h"

#include <algorithm>

#include "storage/persistent_storage.h"

namespace Tav {

std::vector<std::string> OtherVersions(const ProductIdentity& product,
                                       const std::optional<StorageLocation>& location) {
  using Access = PersistentStorage::Access;
  std::vector<std::string> versions;
  PersistentStorage storage(location);
  const StorageCloser closer(storage);
  for (const auto open : {&PersistentStorage::Open, &PersistentStorage::OpenTimestamps}) {
    (storage.*open)(Access::Read);
    for (const ProductIdentity& other : storage.GetProducts()) {
      const bool isOther = other.name == product.name && other.version != product.version;
      if (isOther && std::ranges::find(versions, other.version) == versions.end()) {
        versions.push_back(other.version);
      }
    }
    storage.Close(PersistentStorage::Changes::Discard);
  }
  return versions;
}

}  // namespace Tav
