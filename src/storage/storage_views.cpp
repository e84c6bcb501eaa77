#include "storage/storage_views.h"

#include <new>

#include "storage/storage_keys.h"
#include "util/logger.h"

namespace Tav {

namespace {

// Null for text that is not UTF-8 or contains a zero byte, which could be written but not be read
// again.
JsonPtr MakeText(const std::string& text) {
  return text.find('\0') == std::string::npos ? JsonPtr(json_stringn(text.data(), text.size()))
                                              : JsonPtr();
}

}  // namespace

void PersistentStorage::View::UseMember(const ProductIdentity& product,
                                        const char* key,
                                        json_t* (*create)(),
                                        const char* addedMessage) {
  json_t* element = storage_->document_.FindProduct(product);
  if (element == nullptr) {
    TAV_TRACE("Product not found in PS");
    if (access_ == Access::Read) {
      return;
    }
    element = storage_->document_.AddProduct(product);
  }
  if (!json_is_object(element)) {
    LogWarning("PS: Product is not a map");
    return;
  }
  json_t* const member = json_object_get(element, key);
  JsonPtr fresh(create());
  if (!fresh) {
    throw std::bad_alloc();
  }
  if (member != nullptr && json_typeof(member) == json_typeof(fresh.Get())) {
    SetNode(member);
  } else if (access_ == Access::Update) {
    TAV_TRACE("%s", addedMessage);
    json_object_set_new(element, key, fresh.Release());
    SetNode(json_object_get(element, key));
  }
}

EnvValue PersistentStorage::View::GetValue(const std::string& key) const {
  const json_t* const stored = json_object_get(Node(), key.c_str());
  EnvValue value = ToEnvValue(stored);
  if (stored != nullptr && value.type == EnvType::None) {
    LogError("PS: key %s has invalid type %d", key.c_str(), static_cast<int>(json_typeof(stored)));
  }
  return value;
}

bool PersistentStorage::View::SetValue(const std::string& key, const EnvValue& value) {
  if (WritableNode() == nullptr) {
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
  const int result = json_object_set_new(WritableNode(), key.c_str(), number.Release());
  if (result != 0) {
    LogWarning(
        "PS: SetValue failed with error %d for env data. Key: %s, type: %d, value (str): %s, "
        "value (double): %f",
        result, key.c_str(), type, value.text.c_str(), value.number);
  }
  return result == 0;
}

bool PersistentStorage::View::SetValue(const std::string& key, const std::string& text) {
  if (WritableNode() == nullptr) {
    TAV_DEBUG("PS: SetValue called with PS not open");
    return false;
  }
  JsonPtr value = MakeText(text);
  if (!value) {
    LogWarning("PS: SetValue string cannot be convert to JSON");
    return false;
  }
  const int result = json_object_set_new(WritableNode(), key.c_str(), value.Release());
  if (result != 0) {
    LogWarning("PS: SetValue failed with %d for '%s' '%s'", result, key.c_str(), text.c_str());
  }
  return result == 0;
}

bool PersistentStorage::View::RemoveValue(const std::string& key) {
  if (WritableNode() == nullptr) {
    LogWarning("PS: RemoveValue called with PS not open");
    return false;
  }
  const int result = json_object_del(WritableNode(), key.c_str());
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
  return EqualsJson(value, json_object_get(Node(), key.c_str()));
}

bool PersistentStorage::View::GetValue(const std::string& key, const std::string& expected) const {
  if (Node() == nullptr) {
    LogWarning("PS: GetValue for key %s called with PS not open", key.c_str());
    return false;
  }
  const json_t* const stored = json_object_get(Node(), key.c_str());
  return json_is_string(stored) && JsonStringView(stored) == expected;
}

PersistentStorage::ClientView::ClientView(PersistentStorage* storage)
    : View(storage, Access::Update) {
  if (!storage->document_.IsOpen()) {
    TAV_DEBUG("PS: client view is null");
    return;
  }
  SetNode(storage->document_.Root());
}

std::map<std::string, std::string> PersistentStorage::ClientView::Texts() const {
  std::map<std::string, std::string> texts;
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(Node(), key, value) {
    if (json_is_string(value)) {
      texts.emplace(key, JsonStringView(value));
    }
  }
  return texts;
}

PersistentStorage::ProductView::ProductView(PersistentStorage* storage,
                                            const ProductIdentity& product,
                                            Access access)
    : View(storage, access) {
  const char* const n = product.name.c_str();
  const char* const v = product.version.c_str();
  const char* const p = product.platform.c_str();
  TAV_TRACE("PS: creating Prod view (%s,%s,%s)", n, v, p);
  if (!storage->document_.IsOpen()) {
    LogError("PS: creating Prod view (%s,%s,%s): PS is not open.", n, v, p);
    return;
  }
  json_t* element = storage->document_.FindProduct(product);
  if (element != nullptr) {
    TAV_TRACE("PS: Product found (%s,%s,%s)", n, v, p);
  } else if (access == Access::Read) {
    TAV_TRACE("Product not found in PS");
    return;
  } else {
    TAV_TRACE("PS: Product not found (%s,%s,%s). Adding it.", n, v, p);
    element = storage->document_.AddProduct(product);
    added_ = true;
  }
  if (!json_is_object(element)) {
    LogError("PS: Prod is not a map");
    return;
  }
  SetNode(element);
}

PersistentStorage::ProductEnvView::ProductEnvView(PersistentStorage* storage,
                                                  const ProductIdentity& product,
                                                  Section section,
                                                  Access access)
    : View(storage, access) {
  const char* const n = product.name.c_str();
  const char* const v = product.version.c_str();
  const char* const p = product.platform.c_str();
  TAV_TRACE("PS: Creating PS ProdEnv view for %s %s %s", n, v, p);
  if (!storage->document_.IsOpen()) {
    TAV_DEBUG("PS: Creating ProdEnv view (%s,%s,%s): PS is not open.", n, v, p);
    return;
  }
  UseMember(product, section == Section::Settings ? StorageKeys::kSettings : StorageKeys::kValues,
            json_object, "PS: Adding values map to PS");
}

std::vector<std::string> PersistentStorage::ProductEnvView::GetKeys() const {
  std::vector<std::string> keys;
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(Node(), key, value) {
    keys.emplace_back(key);
  }
  return keys;
}

size_t PersistentStorage::ProductEnvView::Size() const {
  return json_object_size(Node());
}

void PersistentStorage::ProductEnvView::Clear() {
  json_object_clear(WritableNode());
}

PersistentStorage::InhibitEventView::InhibitEventView(PersistentStorage* storage,
                                                      const ProductIdentity& product,
                                                      Access access)
    : View(storage, access) {
  const char* const n = product.name.c_str();
  const char* const v = product.version.c_str();
  const char* const p = product.platform.c_str();
  TAV_TRACE("PS: Creating PS Inhibit view for %s %s %s", n, v, p);
  if (!storage->document_.IsOpen()) {
    TAV_DEBUG("PS: Creating Inhibit view (%s,%s,%s): PS is not open.", n, v, p);
    return;
  }
  UseMember(product, StorageKeys::kInhibit, json_array, "PS: Adding inhibit array to PS");
}

size_t PersistentStorage::InhibitEventView::Size() const {
  return json_array_size(Node());
}

std::string PersistentStorage::InhibitEventView::Get(size_t index) const {
  return std::string(JsonStringView(json_array_get(Node(), index)));
}

void PersistentStorage::InhibitEventView::Append(const std::string& name) {
  json_array_append_new(WritableNode(), MakeText(name).Release());
}

void PersistentStorage::InhibitEventView::Clear() {
  json_array_clear(WritableNode());
}

}  // namespace Tav
