// The calls to the kept parts by number.
#include "cache/cache_manager.h"
#include "machine/client_info.h"
#include "model/built_record.h"
#include "storage/product_info.h"
#include "test_access/kept_parts.h"
#include "util/json.h"

namespace Tav {

namespace {

int32_t CallCache(CacheManager& cache, CacheOperation operation, int32_t argument) {
  switch (operation) {
    case CacheOperation::Scan:
      cache.ScanFiles(argument != 0);
      return CountResult(cache.FileCount());
    case CacheOperation::Load: {
      RecordList records;
      cache.Load(records);
      return CountResult(records.Count());
    }
    case CacheOperation::DeleteAll:
      cache.DeleteAll();
      return CountResult(cache.FileCount());
    case CacheOperation::TotalSize:
      return cache.TotalSize();
    case CacheOperation::FileCount:
      return CountResult(cache.FileCount());
    case CacheOperation::Sequence:
      return argument < 0 ? 0 : cache.GetFileSequence(static_cast<size_t>(argument));
    case CacheOperation::Disabled:
      return YesOrNo(cache.Disabled());
    case CacheOperation::DeleteFile:
      return YesOrNo(cache.DeleteFile(argument));
  }
  return kFailed;
}

bool UpdateProduct(ProductInfo& product, const char* key, const char* value, bool isMap) {
  const JsonPtr parsed(json_loads(value, JSON_DECODE_ANY | JSON_REJECT_DUPLICATES, nullptr));
  return parsed && product.UpdateProductEnv(key, parsed.Get(), isMap);
}

int32_t CallProduct(ProductInfo& product,
                    ProductInfoOperation operation,
                    const char* key,
                    const char* value) {
  bool isIncremental = false;
  const EnvMap* toSend = nullptr;
  switch (operation) {
    case ProductInfoOperation::SetServer:
      product.SetServer(value);
      return kYes;
    case ProductInfoOperation::SetValue:
    case ProductInfoOperation::SetMap:
      return YesOrNo(UpdateProduct(product, key, value, operation == ProductInfoOperation::SetMap));
    case ProductInfoOperation::ToSend:
      toSend = product.GetEnvData(isIncremental);
      return toSend == nullptr ? 0 : CountResult(toSend->size());
    case ProductInfoOperation::IsPendingOptOutCleared:
      return YesOrNo(product.IsPendingOptOutCleared());
    default:
      return kFailed;
  }
}

// The operations that read or write the storage.
int32_t CallProduct(ProductInfo& product,
                    ProductInfoOperation operation,
                    PersistentStorage* storage) {
  switch (operation) {
    case ProductInfoOperation::IsChanged:
      return YesOrNo(product.IsChanged(storage));
    case ProductInfoOperation::Load:
      product.LoadEnvFromPS(storage);
      return kYes;
    case ProductInfoOperation::Persist:
      product.PersistToPS(storage);
      return kYes;
    case ProductInfoOperation::PersistPendingOptOut:
      product.PersistPendingOptOut(storage);
      return kYes;
    case ProductInfoOperation::ClearPendingOptOut:
      product.ClearPendingOptOut(storage);
      return kYes;
    default:
      return kFailed;
  }
}

}  // namespace

int32_t CallCacheManager(KeptParts& parts, CacheOperation operation, int32_t argument) {
  return parts.cacheManager == nullptr ? kFailed
                                       : CallCache(*parts.cacheManager, operation, argument);
}

int32_t CallStorage(KeptParts& parts, StorageOperation operation) {
  if (parts.storage == nullptr) {
    return kFailed;
  }
  switch (operation) {
    case StorageOperation::HadParseError:
      return YesOrNo(parts.storage->HadParseError());
    case StorageOperation::HadOpenError:
      return YesOrNo(parts.storage->HadOpenError());
    case StorageOperation::ProductCount:
      return CountResult(parts.storage->GetProducts().size());
    case StorageOperation::Close:
      parts.DropViews();
      return YesOrNo(parts.storage->Close(PersistentStorage::Changes::Discard));
    case StorageOperation::CloseAndSave:
      parts.DropViews();
      return YesOrNo(parts.storage->CloseAndSave());
    case StorageOperation::Destroy:
      parts.DropViews();
      parts.storage->Close(PersistentStorage::Changes::Discard);
      return YesOrNo(parts.storage->Destroy());
  }
  return kFailed;
}

int32_t CallClientInfo(KeptParts& parts, ClientInfoOperation operation, int32_t milliseconds) {
  if (parts.clientInfo == nullptr) {
    return kFailed;
  }
  switch (operation) {
    case ClientInfoOperation::Collect:
      parts.clientInfo->Collect();
      return YesOrNo(parts.clientInfo->Pending());
    case ClientInfoOperation::Finish:
      return YesOrNo(parts.clientInfo->Finish(milliseconds < 0 ? 0 : milliseconds));
    case ClientInfoOperation::LabelCount:
      return CountResult(parts.clientInfo->GetClientEnv().size());
    case ClientInfoOperation::Log:
      parts.clientInfo->LogClientEnv();
      return kYes;
    case ClientInfoOperation::IsChanged:
      return parts.storage == nullptr ? kFailed
                                      : YesOrNo(parts.clientInfo->IsChanged(parts.storage.get()));
    case ClientInfoOperation::Persist:
      if (parts.storage == nullptr) {
        return kFailed;
      }
      parts.clientInfo->PersistClientInfo(parts.storage.get());
      return kYes;
  }
  return kFailed;
}

int32_t CallProductInfo(KeptParts& parts,
                        ProductInfoOperation operation,
                        const char* key,
                        const char* value) {
  if (parts.productInfo == nullptr) {
    return kFailed;
  }
  if (operation < ProductInfoOperation::IsChanged) {
    return CallProduct(*parts.productInfo, operation, key, value);
  }
  return parts.storage == nullptr ? kFailed
                                  : CallProduct(*parts.productInfo, operation, parts.storage.get());
}

}  // namespace Tav
