#include "storage/stored_env.h"

#include <string>
#include <utility>

#include "storage/storage_views.h"
#include "util/logger.h"

namespace Tav {

namespace {

using Access = PersistentStorage::Access;
using ProductEnvView = PersistentStorage::ProductEnvView;

int TypeNumber(const EnvValue& value) {
  return static_cast<int>(value.type);
}

ProductEnvView ValuesOf(PersistentStorage* storage, const ProductIdentity& product, Access access) {
  return {storage, product, ProductEnvView::Section::Values, access};
}

}  // namespace

EnvMap LoadStoredEnv(PersistentStorage* storage, const ProductIdentity& product) {
  const ProductEnvView view = ValuesOf(storage, product, Access::Read);
  EnvMap stored;
  for (const std::string& key : view.GetKeys()) {
    EnvValue value = view.GetValue(key);
    TAV_TRACE("Product: (%s,%s,%s): existing PS: key=%s, type=%d, val(str)=%s, val(num)=%f",
              product.name.c_str(), product.version.c_str(), product.platform.c_str(), key.c_str(),
              TypeNumber(value), value.text.c_str(), value.number);
    if (value.type != EnvType::None) {
      stored[key] = std::move(value);
    }
  }
  return stored;
}

std::optional<EnvMap> FindStoredChanges(PersistentStorage* storage,
                                        const ProductIdentity& product,
                                        const EnvMap& values) {
  const ProductEnvView stored = ValuesOf(storage, product, Access::Read);
  if (stored.Size() == 0) {
    return std::nullopt;
  }
  TAV_DEBUG("PI: IsChanged: Collecting incremental changes...");
  EnvMap changes;
  for (const auto& [key, value] : values) {
    if (!stored.VerifyValue(key, value)) {
      TAV_DEBUG("PI: Changed (incremental). Key: %s, type: %d, strData: %s, numData: %f",
                key.c_str(), TypeNumber(value), value.text.c_str(), value.number);
      changes[key] = value;
    }
  }
  return changes;
}

void StoreEnv(PersistentStorage* storage, const ProductIdentity& product, const EnvMap& values) {
  ProductEnvView stored = ValuesOf(storage, product, Access::Update);
  stored.Clear();
  for (const auto& [key, value] : values) {
    TAV_TRACE("Product: persist to PS: key=%s, type: %d, strData: %s, numData: %f", key.c_str(),
              TypeNumber(value), value.text.c_str(), value.number);
    stored.SetValue(key, value);
  }
}

void EraseStoredValues(PersistentStorage* storage,
                       const ProductIdentity& product,
                       const ProductEnv& env) {
  ProductEnvView stored = ValuesOf(storage, product, Access::Update);
  for (const std::string& key : stored.GetKeys()) {
    if (env.Find(key) == nullptr) {
      stored.RemoveValue(key);
      continue;
    }
    const EnvValue value = stored.GetValue(key);
    TAV_TRACE("PI: persist to PS: key: %s, type: %d, strData: %s, numData: %f", key.c_str(),
              TypeNumber(value), value.text.c_str(), value.number);
  }
}

}  // namespace Tav
