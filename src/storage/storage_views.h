// Typed access to one object or array of an open storage document.
//
// A view is created and used while its storage is open. A view of a product is created for reading
// or for update. A view for update adds a missing product or member to the document; Close of the
// storage decides whether they are saved. A view for reading does not change the document; a view
// of a missing product or member is empty.
//
// A view is also empty when the storage is closed, or when the document holds something else where
// an object should be. An empty view has no values and cannot store any; the log says why. A view
// for reading cannot store any either. Used by the storage's thread.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "model/env_value.h"
#include "storage/persistent_storage.h"
#include "util/json.h"

namespace Tav {

class PersistentStorage::View {
 public:
  virtual ~View() = default;
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  // A value without type when the key is missing or holds neither a string nor a number.
  virtual EnvValue GetValue(const std::string& key) const;
  // Replace the value of the key. False, and no change, for values that JSON cannot hold: a number
  // that is not finite, a text or key that is not UTF-8, a value without type.
  virtual bool SetValue(const std::string& key, const EnvValue& value);
  virtual bool SetValue(const std::string& key, const std::string& text);
  // False also when there is no such key.
  virtual bool RemoveValue(const std::string& key);
  // Whether the document holds this value (model/env_value.h, EqualsJson).
  virtual bool VerifyValue(const std::string& key, const EnvValue& value) const;
  // Whether the document holds this text.
  virtual bool GetValue(const std::string& key, const std::string& expected) const;

 protected:
  View(PersistentStorage* storage, Access access) : storage_(storage), access_(access) {}

  // Makes this a view of a member of the product. In a view for update, a member that is missing or
  // whose type differs from what `create` returns is replaced.
  void UseMember(const ProductIdentity& product,
                 const char* key,
                 json_t* (*create)(),
                 const char* addedMessage);
  void SetNode(json_t* borrowed) { node_ = JsonPtr::Share(borrowed); }
  json_t* Node() const { return node_.Get(); }
  // The node of a view for update, else null.
  json_t* WritableNode() const { return access_ == Access::Update ? Node() : nullptr; }

 private:
  PersistentStorage* storage_;  // borrowed
  Access access_;
  JsonPtr node_;  // null: the view is empty
};

// The top level of the document: the client environment, the endpoint, a time stamp.
class PersistentStorage::ClientView : public View {
 public:
  explicit ClientView(PersistentStorage* storage);

  // All members that are strings.
  std::map<std::string, std::string> Texts() const;
};

// A product's own values.
class PersistentStorage::ProductView : public View {
 public:
  ProductView(PersistentStorage* storage, const ProductIdentity& product, Access access);

  // Whether creating this view added the product.
  bool Added() const { return added_; }

 private:
  bool added_ = false;
};

// A product's environment, or its settings.
class PersistentStorage::ProductEnvView : public View {
 public:
  enum class Section { Values, Settings };

  ProductEnvView(PersistentStorage* storage,
                 const ProductIdentity& product,
                 Section section,
                 Access access);

  // In the document's order.
  virtual std::vector<std::string> GetKeys() const;
  virtual size_t Size() const;
  virtual void Clear();
};

// The names of the events that a product must not send.
class PersistentStorage::InhibitEventView : public View {
 public:
  InhibitEventView(PersistentStorage* storage, const ProductIdentity& product, Access access);

  virtual size_t Size() const;
  // Empty when the index is out of range or the element is not a string.
  virtual std::string Get(size_t index) const;
  virtual void Append(const std::string& name);
  virtual void Clear();
};

}  // namespace Tav
