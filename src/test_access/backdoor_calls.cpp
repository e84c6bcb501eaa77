// Calls operations of the parts that a test-access object keeps, by number.
#include <string>

#include "api/entry_guard.h"
#include "cache/cache_manager.h"
#include "machine/client_info.h"
#include "model/built_record.h"
#include "storage/product_info.h"
#include "test_access/backdoor.h"
#include "util/json.h"

using namespace Tav;

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

int32_t Backdoor::CallCacheManager(int32_t operation, int32_t argument) noexcept {
  return Boundary(kFailed, [&] {
    return cacheManager_ == nullptr
               ? kFailed
               : CallCache(*cacheManager_, static_cast<CacheOperation>(operation), argument);
  });
}

int32_t Backdoor::CallStorage(int32_t operation) noexcept {
  return Boundary(kFailed, [&] {
    if (storage_ == nullptr) {
      return kFailed;
    }
    switch (static_cast<StorageOperation>(operation)) {
      case StorageOperation::HadParseError:
        return YesOrNo(storage_->HadParseError());
      case StorageOperation::HadOpenError:
        return YesOrNo(storage_->HadOpenError());
      case StorageOperation::ProductCount:
        return CountResult(storage_->GetProducts().size());
      case StorageOperation::Close:
        DropViews();
        return YesOrNo(storage_->Close(PersistentStorage::Changes::Discard));
      case StorageOperation::CloseAndSave:
        DropViews();
        return YesOrNo(storage_->CloseAndSave());
      case StorageOperation::Destroy:
        DropViews();
        storage_->Close(PersistentStorage::Changes::Discard);
        return YesOrNo(storage_->Destroy());
    }
    return kFailed;
  });
}

int32_t Backdoor::CallClientInfo(int32_t operation, int32_t milliseconds) noexcept {
  return Boundary(kFailed, [&] {
    if (clientInfo_ == nullptr) {
      return kFailed;
    }
    switch (static_cast<ClientInfoOperation>(operation)) {
      case ClientInfoOperation::Collect:
        clientInfo_->Collect();
        return YesOrNo(clientInfo_->Pending());
      case ClientInfoOperation::Finish:
        return YesOrNo(clientInfo_->Finish(milliseconds < 0 ? 0 : milliseconds));
      case ClientInfoOperation::LabelCount:
        return CountResult(clientInfo_->GetClientEnv().size());
      case ClientInfoOperation::Log:
        clientInfo_->LogClientEnv();
        return kYes;
      case ClientInfoOperation::IsChanged:
        return storage_ == nullptr ? kFailed : YesOrNo(clientInfo_->IsChanged(storage_.get()));
      case ClientInfoOperation::Persist:
        if (storage_ == nullptr) {
          return kFailed;
        }
        clientInfo_->PersistClientInfo(storage_.get());
        return kYes;
    }
    return kFailed;
  });
}

int32_t Backdoor::CallProductInfo(int32_t operation, const char* key, const char* value) noexcept {
  return Boundary(kFailed, [&] {
    if (productInfo_ == nullptr) {
      return kFailed;
    }
    const auto which = static_cast<ProductInfoOperation>(operation);
    if (which < ProductInfoOperation::IsChanged) {
      return CallProduct(*productInfo_, which, OrEmpty(key), OrEmpty(value));
    }
    return storage_ == nullptr ? kFailed : CallProduct(*productInfo_, which, storage_.get());
  });
}
