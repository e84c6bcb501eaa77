// The state that the library keeps between runs: two JSON documents of one layout in the storage
// directory, shared by all products of a user. docs/storage-format.md describes them.
//
// A storage is opened, read or changed through views (storage/storage_views.h), and soon closed.
// While it is open for update, it holds the file's lock, and Close can write the document back. If
// the process is killed meanwhile, the next open finds the old document or the new one, whole. A
// file that cannot be read opens as an empty document; the log says why, and the next save replaces
// the file. A file that another storage keeps locked also opens as an empty document, but is never
// written.
//
// One thread at a time uses a storage. Any number of storages, in any number of processes, may work
// on the same files. Calls block on the disk; an open waits up to about 0.2 seconds for the lock.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "model/product_identity.h"
#include "storage/storage_file.h"
#include "util/json.h"

namespace Tav {

class PersistentStorage {
 public:
  class View;
  class ClientView;
  class ProductView;
  class ProductEnvView;
  class InhibitEventView;

  enum class Access { Read, Update };
  enum class Changes { Discard, Save };
  enum class Document { Main, Timestamps };

  PersistentStorage() = default;
  // Closes without saving.
  virtual ~PersistentStorage() = default;
  PersistentStorage(const PersistentStorage&) = delete;
  PersistentStorage& operator=(const PersistentStorage&) = delete;

  // Opens the main document or the one of time stamps. Discards a document that is still open.
  // False only when there is no storage directory.
  virtual bool Open(Access access) { return OpenDocument(Document::Main, access); }
  virtual bool OpenTimestamps(Access access) { return OpenDocument(Document::Timestamps, access); }
  // Saves only a document that was opened for update. A failure to save is logged; the next open
  // then finds the old document or the new one. Views must not be used any more. Always true.
  virtual bool Close(Changes changes);
  virtual bool CloseAndSave() { return Close(Changes::Save); }
  // False when there is no such product.
  virtual bool RemoveProduct(const ProductIdentity& product);
  // All products of the document. A missing part of an identity is empty.
  virtual std::vector<ProductIdentity> GetProducts() const;
  // Deletes both files and the copies that interrupted saves left. A missing file counts as
  // deleted. Stops at the first that cannot be deleted. Nothing may be open.
  virtual bool Destroy();
  // Whether, at the last open, the file held no JSON value; an empty file holds none. Also true
  // when the copy of an interrupted save replaced it. Reset by Close.
  virtual bool HadParseError() const { return parseError_; }
  // Whether, at the last open, the file could not be opened or locked. Reset by Close.
  virtual bool HadOpenError() const { return openError_; }

  // The full path of a document's file; empty without a storage directory.
  static std::string GetPSFileSpec(Document document);

  // Process-wide, to be set before a storage is opened; an empty name or directory restores the
  // default. SetAlternatePS: the part of `path` up to the last '/' or '\', if any, becomes the
  // storage directory, the rest the name of the main file.
  static void SetAlternatePS(std::string_view path);
  static void SetAlternatePSDirectory(std::string_view directory);

 private:
  bool OpenDocument(Document document, Access access);
  // The array of products, borrowed; null when the storage is closed.
  json_t* Products() const;
  // The product's index in the array, or -1.
  int FindProduct(const ProductIdentity& product) const;
  // The element at `index`, borrowed; null for -1.
  json_t* ProductAt(int index) const;
  // Appends a product without values and returns it, borrowed; null if memory runs out.
  json_t* AddProduct(const ProductIdentity& product);

  JsonPtr root_;      // null while closed
  StorageFile file_;  // open from an open for update until Close
  bool parseError_ = false;
  bool openError_ = false;
};

// Closes a storage without saving at the end of a block, unless it was closed before.
class StorageCloser {
 public:
  explicit StorageCloser(PersistentStorage& storage) : storage_(storage) {}
  ~StorageCloser() { storage_.Close(PersistentStorage::Changes::Discard); }
  StorageCloser(const StorageCloser&) = delete;
  StorageCloser& operator=(const StorageCloser&) = delete;

 private:
  PersistentStorage& storage_;
};

}  // namespace Tav
