// The JSON tree of one storage document: its products, and at the top level the values of the
// machine. docs/storage-format.md describes both.
//
// Holds a tree only while the storage is open. Returned nodes are borrowed. Used by one thread at a
// time.
#pragma once

#include <vector>

#include "model/product_identity.h"
#include "util/json.h"

namespace Tav {

class StorageDocument {
 public:
  // Uses `root`, an object with the array of products. Without one, an empty document.
  void Open(JsonPtr root);
  void Close() { root_.Reset(); }
  bool IsOpen() const { return static_cast<bool>(root_); }

  // The whole tree; null when closed.
  json_t* Root() const { return root_.Get(); }

  // The first object with this identity; null when there is none. Throws std::bad_alloc.
  json_t* FindProduct(const ProductIdentity& product) const;
  // Appends a product without values and returns it; null if memory runs out.
  json_t* AddProduct(const ProductIdentity& product);
  // False when there is no such product. Throws std::bad_alloc.
  bool RemoveProduct(const ProductIdentity& product);
  // A missing part of an identity is empty.
  std::vector<ProductIdentity> GetProducts() const;

 private:
  json_t* Products() const;
  // The product's index in the array, or -1.
  int IndexOf(const ProductIdentity& product) const;

  JsonPtr root_;  // null while closed
};

}  // namespace Tav
