// The product environment: the values that describe the application's product, and which of them
// changed since they were last sent.
//
// It is flat: a single value has its own key, an element of a map the key "map.member", an element
// of a list the key "list:index". Used by the session thread only.
#pragma once

#include <jansson.h>

#include <optional>
#include <string>
#include <string_view>

#include "model/env_value.h"
#include "model/library_config.h"

namespace Tav {

// The effect of a change that the application made. OnlyErased: elements were removed, and nothing
// is new or different.
enum class EnvUpdate { Unchanged, Changed, OnlyErased };

class ProductEnv {
 public:
  // `values` are those set before initialisation, borrowed for the call; null when there are none.
  explicit ProductEnv(const PendingProductValues* values);
  ProductEnv(const ProductEnv&) = delete;
  ProductEnv& operator=(const ProductEnv&) = delete;

  // Null until the application set a value or AddStored was called. Borrowed until the next change.
  const EnvMap* All() const { return all_ ? &*all_ : nullptr; }
  // The values that changed, for an incremental environment; null when there are none. Borrowed
  // until the next change.
  const EnvMap* Changes() const { return changes_ ? &*changes_ : nullptr; }
  // Whether the stored environment is the current one without Changes().
  bool IsIncremental() const { return incremental_; }
  // Null when the key is not there.
  const EnvValue* Find(std::string_view key) const;

  // Applies a change: a single value, or an object that holds all elements of a map or list.
  EnvUpdate Update(const std::string& key, const json_t* value, bool isMap);
  // Adds the stored values that the application did not set in this run.
  void AddStored(EnvMap stored);
  // Marks a value as changed, whether or not All() has it.
  void AddChange(const std::string& key, const EnvValue& value);
  void BeginIncremental() { incremental_ = true; }
  void DiscardChanges() { changes_.reset(); }

 private:
  EnvUpdate UpdateSingleValue(const std::string& key, const json_t* value);

  std::optional<EnvMap> all_;
  std::optional<EnvMap> changes_;
  bool incremental_ = false;
};

}  // namespace Tav
