// The identity of the host's product and its product environment: what the host told about the
// product, flattened into keys with text or number values, and which of it must be sent.
//
// A list or map value is kept as one entry per element: "key.member" for a map, "key:item" for a
// list. Used by the session thread only.
#pragma once

#include <jansson.h>

#include <memory>
#include <string>
#include <string_view>

#include "model/env_value.h"
#include "model/library_config.h"

namespace Tav {

class ProductInfo {
 public:
  // The values collected before initialisation, possibly none.
  ProductInfo(std::string name, std::string version, const PendingProductValues* values);

  const std::string& GetName() const { return name_; }
  const std::string& GetVersion() const { return version_; }
  const std::string& GetPlatform() const { return platform_; }
  // The server that the product data was last sent to; empty when it never was.
  const std::string& GetServer() const { return server_; }

  // Data goes to another server from now on, which knows nothing: everything is sent again.
  void SetServer(std::string url);

  // False, and a value without type, when the key is not there.
  bool FindEnvValue(std::string_view key, EnvValue& value) const;

  // Whether the environment has to be sent, asked once at start-up. What an earlier run sent is not
  // remembered, so a product counts as not registered and is sent in full; an opted-out product
  // sends its opt-out and nothing else.
  bool IsChanged();

  // What to send: everything or only the changes since the last send; null when there is nothing.
  // Borrowed until the next change.
  const EnvMap* GetEnvData(bool& isIncremental) const;

  // What was handed out has been sent: from here on only changes are.
  void OnSent();

  // Takes one change from the host: a single value, or an object holding all elements of a map or
  // list. True when something is new or different.
  bool UpdateProductEnv(std::string_view key, const json_t* value, bool isMap);

 private:
  void TraceEntries(const EnvMap& entries) const;
  EnvMap& Incremental();

  std::string name_;
  std::string version_;
  std::string platform_;
  std::string server_;
  bool serverChanged_ = false;
  EnvMap fullEnv_;
  std::unique_ptr<EnvMap> incEnv_;  // changes since the last send; null when there are none
  bool incremental_ = false;
  std::string optOut_;
};

// Where the changes of one list or map go, beside the environment itself.
struct EnvChanges {
  bool afterInit = false;         // a session is running
  EnvMap* incremental = nullptr;  // collects the changes, when only those will be sent
  bool erased = false;            // result: elements were removed and nothing else changed
};

// Brings the entries of the list or map `key` in `map` into line with `object`, whose members are
// the elements. True when an element is new or different.
bool UpdateListOrMap(std::string_view key,
                     bool isMap,
                     EnvMap& map,
                     const json_t* object,
                     EnvChanges& changes);

}  // namespace Tav
