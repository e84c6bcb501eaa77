// The parts of the library that a test-access object makes and keeps, and the calls to them by
// number.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "model/env_value.h"
#include "model/product_identity.h"
#include "storage/storage_views.h"
#include "test_access/operations.h"

namespace Tav {

class CacheManager;
class ClientInfo;
class Endpoint;
class ProductInfo;

// Any part may be missing. Views are freed before the storage whose document they show.
struct KeptParts {
  KeptParts();
  ~KeptParts();

  // Frees all parts.
  void Clear();
  void DropViews();
  // Null for a part that is not a view, or missing.
  PersistentStorage::View* ViewOf(KeptPart part) const;
  // A value of the part. None when there is none.
  std::optional<std::string> FindText(KeptPart part, const char* key) const;

  std::unique_ptr<ClientInfo> clientInfo;
  std::unique_ptr<ProductInfo> productInfo;
  std::unique_ptr<PersistentStorage> storage;
  std::unique_ptr<PersistentStorage::ClientView> clientView;
  std::unique_ptr<PersistentStorage::ProductView> productView;
  std::unique_ptr<PersistentStorage::ProductEnvView> productEnvView;
  std::unique_ptr<Endpoint> endpoint;
  std::unique_ptr<CacheManager> cacheManager;

 private:
  // A value of type None when there is none.
  EnvValue FindValue(KeptPart part, const char* key) const;
};

// Make or replace a part. kFailed if one that it needs is missing. They may throw.
int32_t OpenStorage(KeptParts& parts, bool timestamps, bool update);
int32_t CreateClientView(KeptParts& parts);
int32_t CreateProductView(KeptParts& parts, const ProductIdentity& product);
int32_t CreateProductEnvView(KeptParts& parts, const ProductIdentity& product, bool settings);
int32_t CreateCacheManager(KeptParts& parts, const char* prefix);
// `steps` are added up, see operations.h. False if the storage that a step needs is missing.
bool CreateEndpoint(KeptParts& parts, int32_t steps);

// Sets a value of a view, or removes it for a null `value`. A number is given as JSON text.
int32_t SetViewValue(KeptParts& parts,
                     KeptPart view,
                     const char* key,
                     const char* value,
                     bool isNumber);

// Call an operation of a part. kFailed for an unknown one, or if a part is missing. They may throw.
int32_t CallCacheManager(KeptParts& parts, CacheOperation operation, int32_t argument);
int32_t CallStorage(KeptParts& parts, StorageOperation operation);
int32_t CallClientInfo(KeptParts& parts, ClientInfoOperation operation, int32_t milliseconds);
int32_t CallProductInfo(KeptParts& parts,
                        ProductInfoOperation operation,
                        const char* key,
                        const char* value);

}  // namespace Tav
