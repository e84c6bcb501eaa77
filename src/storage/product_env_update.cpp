#include "storage/product_env_update.h"

#include <string>
#include <vector>

#include "util/json.h"
#include "util/logger.h"

namespace Tav {

namespace {

// The keys of `map` that are elements of `key`, whichever separator they have.
std::vector<std::string> ElementKeys(const std::string& key, const EnvMap& map) {
  std::vector<std::string> elements;
  for (const auto& [name, value] : map) {
    TAV_TRACE("PI: UpdateListOrMap. s = '%s', keyLen = %d,", name.c_str(),
              static_cast<int>(key.size()));
    if (name.size() > key.size() && name.starts_with(key) &&
        (name[key.size()] == '.' || name[key.size()] == ':')) {
      elements.push_back(name);
      TAV_DEBUG("PI: UpdateListOrMap. Added %s to currKey", name.c_str());
    }
  }
  return elements;
}

}  // namespace

bool UpdateListOrMap(std::string_view key,
                     bool isMap,
                     EnvMap& map,
                     const json_t* object,
                     EnvChanges& changes) {
  const std::string keyText(key);
  EnvMap* const incremental = changes.afterInit ? changes.incremental : nullptr;
  changes.erased = false;
  TAV_DEBUG("PI: UpdateListOrMap. key: '%s', isMap: %d", keyText.c_str(), isMap);
  const std::vector<std::string> current = ElementKeys(keyText, map);
  TAV_DEBUG("PI: UpdateListOrMap. key: '%s', isMap: %d, afterInit: %d, incrementalMode: %d",
            keyText.c_str(), isMap, changes.afterInit, changes.incremental != nullptr);
  if (current.size() != json_object_size(object)) {
    TAV_DEBUG("Sizes differ");
  }
  bool removed = false;
  for (const std::string& name : current) {
    if (json_object_get(object, name.c_str() + key.size() + 1) == nullptr) {
      TAV_DEBUG("PI: Erasing %s", name.c_str());
      map.erase(name);
      removed = true;
      if (incremental != nullptr) {
        incremental->erase(name);
      }
    }
  }
  bool changed = false;
  const char* member = nullptr;
  json_t* value = nullptr;
  json_object_foreach(const_cast<json_t*>(object), member, value) {
    const std::string full = keyText + (isMap ? '.' : ':') + member;
    const auto stored = map.find(full);
    if (stored != map.end() && EqualsJson(stored->second, value)) {
      continue;
    }
    TAV_DEBUG("PI: Entering %s", full.c_str());
    map[full] = ToEnvValue(value);
    changed = true;
    if (incremental != nullptr) {
      (*incremental)[full] = ToEnvValue(value);
    }
  }
  changes.erased = !changed && changes.afterInit && removed;
  return changed;
}

}  // namespace Tav
