#include "session/product_versions.h"

#include <algorithm>
#include <cstddef>

#include "storage/persistent_storage.h"

namespace Tav {

namespace {

// Others may be able to write to the files.
constexpr size_t kMaxVersions = 500;

}  // namespace

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
