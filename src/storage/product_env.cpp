#include "storage/product_env.h"

#include <utility>
#include <vector>

#include "util/logger.h"

namespace Tav {

namespace {

EnvMap& Ensure(std::optional<EnvMap>& map) {
  return map ? *map : map.emplace();
}

// A value without type equals nothing.
bool IsStored(const EnvMap& map, const std::string& key, const json_t* value) {
  const auto found = map.find(key);
  return found != map.end() && found->second.type != EnvType::None &&
         EqualsJson(found->second, value);
}

// The keys of the elements of `key`, with either separator.
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

// Where the changes of a list or map are made.
struct Target {
  EnvMap& all;
  EnvMap* changes;  // null unless the environment is incremental
};

bool EraseElements(const std::vector<std::string>& elements,
                   size_t nameStart,
                   const json_t* object,
                   const Target& target) {
  bool erased = false;
  for (const std::string& element : elements) {
    if (json_object_get(object, element.c_str() + nameStart) != nullptr) {
      continue;
    }
    TAV_DEBUG("PI: Erasing %s", element.c_str());
    target.all.erase(element);
    erased = true;
    if (target.changes != nullptr) {
      target.changes->erase(element);
    }
  }
  return erased;
}

bool EnterElements(const std::string& prefix, const json_t* object, const Target& target) {
  bool changed = false;
  const char* member = nullptr;
  json_t* value = nullptr;
  json_object_foreach(const_cast<json_t*>(object), member, value) {  // only reads
    const std::string key = prefix + member;
    if (IsStored(target.all, key, value)) {
      continue;
    }
    TAV_DEBUG("PI: Entering %s", key.c_str());
    target.all[key] = ToEnvValue(value);
    changed = true;
    if (target.changes != nullptr) {
      (*target.changes)[key] = ToEnvValue(value);
    }
  }
  return changed;
}

// Makes the elements of the list or map `key` those of `object`.
EnvUpdate UpdateListOrMap(const std::string& key,
                          bool isMap,
                          const json_t* object,
                          const Target& target,
                          bool afterInit) {
  TAV_DEBUG("PI: UpdateListOrMap. key: '%s', isMap: %d", key.c_str(), isMap);
  const std::vector<std::string> elements = ElementKeys(key, target.all);
  TAV_DEBUG("PI: UpdateListOrMap. key: '%s', isMap: %d, afterInit: %d, incrementalMode: %d",
            key.c_str(), isMap, afterInit, target.changes != nullptr);
  if (elements.size() != json_object_size(object)) {
    TAV_DEBUG("Sizes differ");
  }
  const bool erased = EraseElements(elements, key.size() + 1, object, target);
  if (EnterElements(key + (isMap ? '.' : ':'), object, target)) {
    return EnvUpdate::Changed;
  }
  return erased ? EnvUpdate::OnlyErased : EnvUpdate::Unchanged;
}

}  // namespace

ProductEnv::ProductEnv(const PendingProductValues* values) {
  if (values == nullptr) {
    return;
  }
  EnvMap& all = all_.emplace();
  for (const auto& [key, pending] : *values) {
    if (pending.payload) {
      UpdateListOrMap(key, pending.isMap, pending.payload.Get(), {all, nullptr}, false);
    } else {
      all[key] = pending.value;
    }
  }
}

const EnvValue* ProductEnv::Find(std::string_view key) const {
  if (!all_) {
    return nullptr;
  }
  const auto found = all_->find(key);
  return found != all_->end() ? &found->second : nullptr;
}

EnvUpdate ProductEnv::Update(const std::string& key, const json_t* value, bool isMap) {
  if (!json_is_object(value)) {
    return UpdateSingleValue(key, value);
  }
  const Target target{Ensure(all_), incremental_ ? &Ensure(changes_) : nullptr};
  const EnvUpdate update = UpdateListOrMap(key, isMap, value, target, true);
  if (update == EnvUpdate::Changed && changes_) {
    for (const auto& [name, entry] : *changes_) {
      TAV_DEBUG("PI: UpdateProductEnv. key: %s, type: %d, strData: %s, numData: %f", name.c_str(),
                static_cast<int>(entry.type), entry.text.c_str(), entry.number);
    }
  } else if (update == EnvUpdate::Changed) {
    TAV_DEBUG("PI: UpdateProductEnv didn't get inc. pe");
  }
  return update;
}

EnvUpdate ProductEnv::UpdateSingleValue(const std::string& key, const json_t* value) {
  EnvMap& all = Ensure(all_);
  if (IsStored(all, key, value)) {
    TAV_DEBUG("PI: UpdateProductEnv (simple k/v). NOT changed.");
    return EnvUpdate::Unchanged;
  }
  all[key] = ToEnvValue(value);
  if (incremental_) {
    AddChange(key, all[key]);
    TAV_DEBUG("PI: UpdateProductEnv. Added '%s' to incremental list.", key.c_str());
  }
  TAV_DEBUG("PI: UpdateProductEnv (simple k/v). Changed.");
  return EnvUpdate::Changed;
}

void ProductEnv::AddStored(EnvMap stored) {
  Ensure(all_).merge(stored);
}

void ProductEnv::AddChange(const std::string& key, const EnvValue& value) {
  Ensure(changes_)[key] = value;
}

}  // namespace Tav
