// Typed access to one object or array of an open storage document.
//
// A view is made and used while its storage is open. One made on a closed storage, or over an
// element that has the wrong type, is empty: every operation on it fails softly, and the log says
// so. Making a view of a product adds the product to the document when it is missing; whether that
// is written is decided when the storage is closed. Used by the storage's thread.
#pragma once

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

  // A value without type when the key is missing or holds neither text nor number.
  virtual EnvValue GetValue(const std::string& key) const;
  // Replace what was under the key. False, and nothing changes, for what JSON cannot carry: a
  // number that is not finite, text or a key that is not UTF-8, a value without type.
  virtual bool SetValue(const std::string& key, const EnvValue& value);
  virtual bool SetValue(const std::string& key, const std::string& text);
  // False also when there is no such key.
  virtual bool RemoveValue(const std::string& key);
  // Whether the document holds this value: the same text, or a real number nearly equal. An integer
  // in the document never is; the library writes none.
  virtual bool VerifyValue(const std::string& key, const EnvValue& value) const;
  // Whether the document holds this text.
  virtual bool GetValue(const std::string& key, const std::string& expected) const;

 protected:
  explicit View(PersistentStorage* storage) : storage_(storage) {}

  // Finds the product, or adds it. Borrowed; null when memory runs out.
  json_t* ProductElement(const ProductTriple& product, bool& added);
  // Makes this a view of a member of the product. One that is missing, or of another type than
  // `make` makes, is replaced by a new one: what damage left there could hold nothing.
  void UseMember(const ProductTriple& product,
                 const char* key,
                 json_t* (*make)(),
                 const char* addedMessage);
  json_t* Node() const { return node_.Get(); }
  void SetNode(json_t* borrowed) { node_ = JsonPtr::Share(borrowed); }
  // The document, borrowed; null when the storage is not open.
  json_t* Root() const { return storage_->root_.Get(); }

 private:
  PersistentStorage* storage_;  // borrowed
  JsonPtr node_;                // null: empty
};

// The document's top level: the client environment, the endpoint, a time stamp.
class PersistentStorage::ClientView : public View {
 public:
  explicit ClientView(PersistentStorage* storage);
};

// A product's own values.
class PersistentStorage::ProductView : public View {
 public:
  ProductView(PersistentStorage* storage,
              const std::string& name,
              const std::string& version,
              const std::string& platform);

  // Whether this view added the product.
  bool Added() const { return added_; }

 private:
  bool added_ = false;
};

// A product's environment, or its settings.
class PersistentStorage::ProductEnvView : public View {
 public:
  ProductEnvView(PersistentStorage* storage,
                 const std::string& name,
                 const std::string& version,
                 const std::string& platform,
                 bool settings);

  // In the document's order. Borrowed until the next call.
  virtual const std::vector<std::string>& GetKeys();
  virtual size_t Size() const;
  virtual void Clear();

 private:
  std::vector<std::string> keys_;
};

// The names of the events that a product must not send.
class PersistentStorage::InhibitEventView : public View {
 public:
  InhibitEventView(PersistentStorage* storage,
                   const std::string& name,
                   const std::string& version,
                   const std::string& platform);

  virtual size_t Size() const;
  // Empty when out of range, or not a text.
  virtual std::string Get(size_t index) const;
  virtual void Append(const std::string& name);
  virtual void Clear();
};

}  // namespace Tav
