// The identity of the application's product and its product environment (storage/product_env.h).
// Decides which values must be sent, and stores the values that were sent.
//
// The operations that take a storage need its main document open, for update if they write. The
// caller decides whether to save. Used by the session thread only.
#pragma once

#include <jansson.h>

#include <optional>
#include <string>
#include <string_view>

#include "model/product_identity.h"
#include "storage/product_env.h"
#include "util/storage_directory.h"

namespace Tav {

class PersistentStorage;

class ProductInfo {
 public:
  // `values` are those set before initialisation, borrowed for the call; null when there are none.
  // Without a location, the process-wide one is used.
  ProductInfo(std::string name,
              std::string version,
              const PendingProductValues* values,
              std::optional<StorageLocation> location = {});
  virtual ~ProductInfo() = default;
  ProductInfo(const ProductInfo&) = delete;
  ProductInfo& operator=(const ProductInfo&) = delete;

  const ProductIdentity& Identity() const { return identity_; }
  virtual const std::string& GetName() const { return identity_.name; }
  virtual const std::string& GetVersion() const { return identity_.version; }
  virtual const std::string& GetPlatform() const { return identity_.platform; }
  // The server that the product data was last sent to. Empty before IsChanged, and when the data
  // was never sent.
  virtual const std::string& GetServer() const { return server_; }

  // Data now goes to another server, which gets the whole environment.
  virtual void SetServer(std::string url);

  // False, and a value without type, when the key is not there.
  virtual bool FindEnvValue(std::string_view key, EnvValue& value) const;

  // The values to send: all, or only those that changed since the last PersistToPS. Null when there
  // is nothing to send. Borrowed until the next change.
  virtual const EnvMap* GetEnvData(bool& isIncremental) const;

  // Adds the stored values that the application did not set in this run.
  virtual void LoadEnvFromPS(PersistentStorage* storage);

  // Compares with the stored state and adopts its server and pending opt-out. To be called once
  // at start-up, before LoadEnvFromPS. True when the environment must be sent: all of it when the
  // storage does not have the product, else the values that differ. A product that is opted out
  // sends only its opt-out in place of all values. Opting in again after an opt-out that could not
  // be sent is a change.
  virtual bool IsChanged(PersistentStorage* storage);

  // Stores the environment as sent. From now on only changes are sent.
  virtual void PersistToPS(PersistentStorage* storage);

  // Stores the opt-out given at construction, which this run could not send, for the next run.
  virtual void PersistPendingOptOut(PersistentStorage* storage);
  virtual void ClearPendingOptOut(PersistentStorage* storage);
  // False while the storage is known to hold a pending opt-out.
  virtual bool IsPendingOptOutCleared() const { return pendingCleared_; }

  // Applies a change that the application made: a single value, or an object that holds all
  // elements of a map or list. True when something is new or different. If elements were only
  // removed, there is nothing to send: removes them from the stored environment at once. No storage
  // may be open.
  virtual bool UpdateProductEnv(std::string_view key, const json_t* value, bool isMap);

  // Whether the stored environment could not be rewritten because another process had it locked.
  bool RewriteDue() const { return rewriteDue_; }
  // Rewrites the stored environment. No storage may be open.
  void RewriteStoredEnv();

  // When the stored environment is unknown: only the changes from now on are sent, and the stored
  // environment stays as it is.
  void SendOnlyChanges() {
    env_.BeginIncremental();
    storedUnknown_ = true;
  }

 private:
  static constexpr char kOptOutKey[] = "std-OptOut";

  bool CompareWithStorage(PersistentStorage* storage, const std::string& pendingOptOut);
  bool CollectChanges(PersistentStorage* storage);

  const ProductIdentity identity_;
  const std::optional<StorageLocation> location_;
  ProductEnv env_;
  std::string server_;
  bool serverChanged_ = false;
  std::string optOut_ = "false";
  bool pendingCleared_ = true;
  bool rewriteDue_ = false;
  bool storedUnknown_ = false;
};

}  // namespace Tav
