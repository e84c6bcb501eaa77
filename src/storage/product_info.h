// The identity of the host's product and its product environment: what the host told about the
// product, flattened into keys with text or number values (storage/product_env_update.h), which of
// it must be sent, and what of it the storage remembers.
//
// The operations that take a storage work on the main document, which the caller has open, for
// update where something is written; whether that is saved is the caller's decision. Used by the
// session thread only.
#pragma once

#include <jansson.h>

#include <memory>
#include <string>
#include <string_view>

#include "model/env_value.h"
#include "model/library_config.h"

namespace Tav {

class PersistentStorage;

class ProductInfo {
 public:
  // `values` are those collected before initialisation, borrowed for the call; null when the host
  // set none.
  ProductInfo(std::string name, std::string version, const PendingProductValues* values);
  virtual ~ProductInfo() = default;
  ProductInfo(const ProductInfo&) = delete;
  ProductInfo& operator=(const ProductInfo&) = delete;

  virtual const std::string& GetName() const { return name_; }
  virtual const std::string& GetVersion() const { return version_; }
  virtual const std::string& GetPlatform() const { return platform_; }
  // The server that the product data was last sent to; empty when it never was, and before
  // IsChanged has looked.
  virtual const std::string& GetServer() const { return server_; }

  // Data goes to another server from now on, which knows nothing: everything is sent again.
  virtual void SetServer(std::string url);

  // False, and a value without type, when the key is not there.
  virtual bool FindEnvValue(std::string_view key, EnvValue& value) const;

  // What to send: everything or only the changes since the last send; null when there is nothing.
  // Borrowed until the next change.
  virtual const EnvMap* GetEnvData(bool& isIncremental) const;

  // Takes over the stored values that the host did not set in this run.
  virtual void LoadEnvFromPS(PersistentStorage* storage);

  // Whether the environment has to be sent, asked once at start-up, before LoadEnvFromPS. In full
  // when the storage does not know the product, else what differs from the stored values; an
  // opted-out product that would be sent in full sends its opt-out and nothing else. An opt-out
  // that the last run could not send, and that the user has taken back, counts as a change.
  virtual bool IsChanged(PersistentStorage* storage);

  // What was handed out has been sent: the storage gets all of it, and from here on only changes
  // are sent.
  virtual void PersistToPS(PersistentStorage* storage);

  // The opt-out as it was at construction could not be sent in this run: the next one shall know.
  virtual void PersistPendingOptOut(PersistentStorage* storage);
  virtual void ClearPendingOptOut(PersistentStorage* storage);
  // False while the storage holds a pending opt-out, as far as this object knows.
  virtual bool IsPendingOptOutCleared() const { return pendingCleared_; }

  // Takes one change from the host: a single value, or an object holding all elements of a map or
  // list. True when something is new or different. Elements that are only gone cannot be told to
  // the server: the stored environment is then written anew at once, so no storage may be open.
  virtual bool UpdateProductEnv(std::string_view key, const json_t* value, bool isMap);

 private:
  static constexpr char kOptOutKey[] = "std-OptOut";

  bool CompareWithStorage(PersistentStorage* storage, const std::string& pendingOptOut);
  bool CollectChanges(PersistentStorage* storage);
  bool UpdateSingleValue(const std::string& key, const json_t* value);
  void RewriteStoredEnv() const;
  EnvMap& Full();
  EnvMap& Incremental();

  std::string name_;
  std::string version_;
  std::string platform_;
  std::string server_;
  bool serverChanged_ = false;
  std::unique_ptr<EnvMap> fullEnv_;  // null: the host set nothing, and nothing was loaded
  std::unique_ptr<EnvMap> incEnv_;   // changes since the last send; null when there are none
  bool incremental_ = false;         // what is stored is the environment without incEnv_
  std::string optOut_;
  bool pendingCleared_ = true;
};

}  // namespace Tav
