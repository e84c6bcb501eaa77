// What the library remembers between runs of the host: two JSON documents of one layout in the
// storage directory, shared by all products of a user. docs/storage-format.md describes them.
//
// A storage is opened, read or changed through views (storage/storage_views.h), and closed within
// one short piece of work. Opened for update it holds the file's lock, and Close writes the
// document back; a process that is killed meanwhile leaves the document as it was or as it was
// written. Damage never stops anybody: whatever cannot be read opens as an empty document, the log
// says why, and the next save replaces it. So does a file that somebody else keeps locked, but then
// nothing is written.
//
// One storage is used by one thread at a time; any number of them, in any number of processes, may
// work on the same files. Calls block as the disk does, an open also for up to some 0.2 seconds
// while somebody else holds the lock.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "storage/storage_file.h"
#include "util/json.h"

namespace Tav {

// The identity of a product in the storage.
struct ProductTriple {
  std::string name;
  std::string version;
  std::string platform;  // its code, "wntx64"
};

class PersistentStorage {
 public:
  class View;
  class ClientView;
  class ProductView;
  class ProductEnvView;
  class InhibitEventView;

  PersistentStorage() = default;
  // Closes without saving.
  virtual ~PersistentStorage() = default;
  PersistentStorage(const PersistentStorage&) = delete;
  PersistentStorage& operator=(const PersistentStorage&) = delete;

  // The main document, the document of time stamps. A document that is open is dropped first. False
  // only when there is no storage directory.
  virtual bool Open(bool update);
  virtual bool OpenTimestamps(bool update);
  // With `save`, a document that was opened for update is written; the log tells of a failure,
  // after which the next open finds the old document or the new one, whole. Views are of no use any
  // more. Always true.
  virtual bool Close(bool save);
  virtual bool CloseAndSave();
  // False when there is no such product.
  virtual bool RemoveProduct(const std::string& name,
                             const std::string& version,
                             const std::string& platform);
  // All products of the document; a part that is missing is empty. Borrowed until the next call,
  // or Close.
  virtual const std::vector<ProductTriple>& GetProducts();
  // Deletes both files and what interrupted saves left beside them, missing ones counting as
  // deleted; stops at the first that cannot be. Call it while nothing is open.
  virtual bool Destroy();
  // Of the last open, until Close: the file holds no JSON value (an empty one does not), even when
  // the document could be had from the copy beside it; it could not be opened, or somebody else has
  // it locked.
  virtual bool HadParseError() const { return parseError_; }
  virtual bool HadOpenError() const { return openError_; }

  // The full path of the main file or of the time stamps' file; empty without a storage directory.
  static std::string GetPSFileSpec(bool timestamps);

  // Process-wide; called before any storage is opened. An alternate file: the part up to the last
  // '/' or '\', if any, becomes the storage directory, the rest the main file's name; an empty name
  // stands for the usual one. An alternate directory; an empty one stands for the usual one.
  static void SetAlternatePS(std::string_view path);
  static void SetAlternatePSDirectory(std::string_view directory);

 private:
  bool OpenDocument(bool timestamps, bool update);
  // The array of products; null when the storage is not open. Borrowed.
  json_t* Products() const;
  // The product's place in the array, or -1.
  int FindProduct(const ProductTriple& product) const;
  // Appends a new product; its place. Borrowed.
  int AddProduct(const ProductTriple& product);

  JsonPtr root_;  // null: closed
  bool parseError_ = false;
  bool openError_ = false;
  std::vector<ProductTriple> productList_;
  StorageFile file_;  // open between an open for update and Close
};

// Closes a storage without saving at the end of a block, unless it was closed before.
class StorageCloser {
 public:
  explicit StorageCloser(PersistentStorage& storage) : storage_(storage) {}
  ~StorageCloser() { storage_.Close(false); }
  StorageCloser(const StorageCloser&) = delete;
  StorageCloser& operator=(const StorageCloser&) = delete;

 private:
  PersistentStorage& storage_;
};

}  // namespace Tav
