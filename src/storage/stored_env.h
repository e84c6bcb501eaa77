// The product environment in the storage: as it was last sent.
//
// The functions take a storage whose main document is open, for update if they write. Called by the
// session thread only.
#pragma once

#include <optional>

#include "model/env_value.h"
#include "model/product_identity.h"
#include "storage/persistent_storage.h"
#include "storage/product_env.h"

namespace Tav {

// Without values that are neither strings nor numbers.
EnvMap LoadStoredEnv(PersistentStorage* storage, const ProductIdentity& product);

// The entries of `values` that the storage does not have. None if it has no environment at all.
std::optional<EnvMap> FindStoredChanges(PersistentStorage* storage,
                                        const ProductIdentity& product,
                                        const EnvMap& values);

// Replaces the stored environment.
void StoreEnv(PersistentStorage* storage, const ProductIdentity& product, const EnvMap& values);

// Erases the stored values that `env` does not have. The others stay as they are: a value that was
// not sent yet is not stored.
void EraseStoredValues(PersistentStorage* storage,
                       const ProductIdentity& product,
                       const ProductEnv& env);

}  // namespace Tav
