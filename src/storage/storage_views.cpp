#include "storage/storage_views.h"

#include "storage/storage_keys.h"
#include "util/logger.h"

namespace Tav {

namespace {

// Null for text that is not UTF-8, and for text that holds a zero: the document could be written,
// but not read any more.
JsonPtr MakeText(const std::string& text) {
  return text.find('\0') == std::string::npos ? JsonPtr(json_stringn(text.data(), text.size()))
                                              : JsonPtr();
}

}  // namespace

json_t* PersistentStorage::View::ProductElement(const ProductTriple& product, bool& added) {
  int index = storage_->FindProduct(product);
  added = index < 0;
  if (added) {
    index = storage_->AddProduct(product);
  }
  return json_array_get(storage_->Products(), static_cast<size_t>(index));
}

void PersistentStorage::View::UseMember(const ProductTriple& product,
                                        const char* key,
                                        json_t* (*make)(),
                                        const char* addedMessage) {
  bool added = false;
  json_t* const element = ProductElement(product, added);
  if (added) {
    TAV_TRACE("Product not found in PS");
  }
  if (!json_is_object(element)) {
    LogWarning("PS: Product is not a map");
    return;
  }
  JsonPtr fresh(make());
  const json_t* const member = json_object_get(element, key);
  if (member == nullptr || json_typeof(member) != json_typeof(fresh.Get())) {
    TAV_TRACE("%s", addedMessage);
    json_object_set_new(element, key, fresh.Release());
  }
  SetNode(json_object_get(element, key));
}

EnvValue PersistentStorage::View::GetValue(const std::string& key) const {
  const json_t* const value = json_object_get(Node(), key.c_str());
  if (value == nullptr) {
    return EnvValue();
  }
  if (json_is_string(value)) {
    return EnvValue::String(std::string(JsonStringView(value)));
  }
  if (json_is_number(value)) {
    return EnvValue::Number(json_number_value(value));
  }
  LogError("PS: key %s has invalid type %d", key.c_str(), static_cast<int>(json_typeof(value)));
  return EnvValue();
}

bool PersistentStorage::View::SetValue(const std::string& key, const EnvValue& value) {
  if (Node() == nullptr) {
    TAV_DEBUG("PS: SetValue called with PS not open");
    return false;
  }
  if (value.type == EnvType::String) {
    return SetValue(key, value.text);
  }
  const int type = static_cast<int>(value.type);
  if (value.type != EnvType::Number) {
    LogError("PS: SetValue - value data type %d is not supported. Key: %s", type, key.c_str());
    return false;
  }
  JsonPtr number(json_real(value.number));
  if (!number) {
    LogError("PS: SetValue - double %f cannot be convert to new JSON real. Key: %s", value.number,
             key.c_str());
    return false;
  }
  const int result = json_object_set_new(Node(), key.c_str(), number.Release());
  if (result != 0) {
    LogWarning(
        "PS: SetValue failed with error %d for env data. Key: %s, type: %d, value (str): %s, "
        "value (double): %f",
        result, key.c_str(), type, value.text.c_str(), value.number);
  }
  return result == 0;
}

bool PersistentStorage::View::SetValue(const std::string& key, const std::string& text) {
  if (Node() == nullptr) {
    TAV_DEBUG("PS: SetValue called with PS not open");
    return false;
  }
  JsonPtr value = MakeText(text);
  if (!value) {
    LogWarning("PS: SetValue string cannot be convert to JSON");
    return false;
  }
  const int result = json_object_set_new(Node(), key.c_str(), value.Release());
  if (result != 0) {
    LogWarning("PS: SetValue failed with %d for '%s' '%s'", result, key.c_str(), text.c_str());
  }
  return result == 0;
}

bool PersistentStorage::View::RemoveValue(const std::string& key) {
  if (Node() == nullptr) {
    LogWarning("PS: RemoveValue called with PS not open");
    return false;
  }
  const int result = json_object_del(Node(), key.c_str());
  if (result != 0) {
    LogWarning("PS: RemoveValue failed with %d", result);
  }
  return result == 0;
}

bool PersistentStorage::View::VerifyValue(const std::string& key, const EnvValue& value) const {
  if (Node() == nullptr) {
    LogWarning("PS: VerifyValue for key %s called with PS not open", key.c_str());
    return false;
  }
  const json_t* const stored = json_object_get(Node(), key.c_str());
  if (value.type == EnvType::String) {
    return json_is_string(stored) && JsonStringView(stored) == value.text;
  }
  return json_is_real(stored) && NearlyEqual(json_real_value(stored), value.number);
}

bool PersistentStorage::View::GetValue(const std::string& key, const std::string& expected) const {
  if (Node() == nullptr) {
    LogWarning("PS: GetValue for key %s called with PS not open", key.c_str());
    return false;
  }
  const json_t* const stored = json_object_get(Node(), key.c_str());
  return json_is_string(stored) && JsonStringView(stored) == expected;
}

PersistentStorage::ClientView::ClientView(PersistentStorage* storage) : View(storage) {
  if (Root() == nullptr) {
    TAV_DEBUG("PS: client view is null");
    return;
  }
  SetNode(Root());
}

PersistentStorage::ProductView::ProductView(PersistentStorage* storage,
                                            const std::string& name,
                                            const std::string& version,
                                            const std::string& platform)
    : View(storage) {
  const char* const n = name.c_str();
  const char* const v = version.c_str();
  const char* const p = platform.c_str();
  TAV_TRACE("PS: creating Prod view (%s,%s,%s)", n, v, p);
  if (Root() == nullptr) {
    LogError("PS: creating Prod view (%s,%s,%s): PS is not open.", n, v, p);
    return;
  }
  json_t* const element = ProductElement({name, version, platform}, added_);
  if (added_) {
    TAV_TRACE("PS: Product not found (%s,%s,%s). Adding it.", n, v, p);
  } else {
    TAV_TRACE("PS: Product found (%s,%s,%s)", n, v, p);
  }
  if (!json_is_object(element)) {
    LogError("PS: Prod is not a map");
    return;
  }
  SetNode(element);
}

PersistentStorage::ProductEnvView::ProductEnvView(PersistentStorage* storage,
                                                  const std::string& name,
                                                  const std::string& version,
                                                  const std::string& platform,
                                                  bool settings)
    : View(storage) {
  TAV_TRACE("PS: Creating PS ProdEnv view for %s %s %s", name.c_str(), version.c_str(),
            platform.c_str());
  if (Root() == nullptr) {
    TAV_DEBUG("PS: Creating ProdEnv view (%s,%s,%s): PS is not open.", name.c_str(),
              version.c_str(), platform.c_str());
    return;
  }
  UseMember({name, version, platform}, settings ? StorageKeys::kSettings : StorageKeys::kValues,
            json_object, "PS: Adding values map to PS");
}

const std::vector<std::string>& PersistentStorage::ProductEnvView::GetKeys() {
  keys_.clear();
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(Node(), key, value) {
    keys_.emplace_back(key);
  }
  return keys_;
}

size_t PersistentStorage::ProductEnvView::Size() const {
  return json_object_size(Node());
}

void PersistentStorage::ProductEnvView::Clear() {
  json_object_clear(Node());
}

PersistentStorage::InhibitEventView::InhibitEventView(PersistentStorage* storage,
                                                      const std::string& name,
                                                      const std::string& version,
                                                      const std::string& platform)
    : View(storage) {
  TAV_TRACE("PS: Creating PS Inhibit view for %s %s %s", name.c_str(), version.c_str(),
            platform.c_str());
  if (Root() == nullptr) {
    TAV_DEBUG("PS: Creating Inhibit view (%s,%s,%s): PS is not open.", name.c_str(),
              version.c_str(), platform.c_str());
    return;
  }
  UseMember({name, version, platform}, StorageKeys::kInhibit, json_array,
            "PS: Adding inhibit array to PS");
}

size_t PersistentStorage::InhibitEventView::Size() const {
  return json_array_size(Node());
}

std::string PersistentStorage::InhibitEventView::Get(size_t index) const {
  return std::string(JsonStringView(json_array_get(Node(), index)));
}

void PersistentStorage::InhibitEventView::Append(const std::string& name) {
  json_array_append_new(Node(), MakeText(name).Release());
}

void PersistentStorage::InhibitEventView::Clear() {
  json_array_clear(Node());
}

}  // namespace Tav
