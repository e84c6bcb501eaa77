// The state that the library keeps between runs: two JSON documents of one layout in the storage
// directory, shared by all products of a user. docs/storage-format.md describes them.
//
// A storage is opened, read or changed through views (storage/storage_views.h), and soon closed.
// While it is open for update, it holds the file's lock, and Close can write the document back. If
// the process is killed meanwhile, the next open finds the old document or the new one, whole. A
// file that cannot be read opens as an empty document; the log says why, and the next save replaces
// the file. A file that another storage keeps locked also opens as an empty document, but is never
// written: see WasLocked.
//
// One thread at a time uses a storage. Any number of storages, in any number of processes, may work
// on the same files. Calls block on the disk; an open waits up to about 0.2 seconds for the lock
// unless SetLockWait says otherwise.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/product_identity.h"
#include "storage/storage_document.h"
#include "storage/storage_file.h"
#include "util/storage_directory.h"

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

  // Without a location, each open uses the process-wide one.
  explicit PersistentStorage(std::optional<StorageLocation> location = {})
      : location_(std::move(location)) {}
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
  virtual std::vector<ProductIdentity> GetProducts() const { return document_.GetProducts(); }
  // Deletes both files and the copies that interrupted saves left. A missing file counts as
  // deleted. Stops at the first that cannot be deleted. Nothing may be open.
  virtual bool Destroy();
  // Whether, at the last open, the file held no JSON value; an empty file holds none. Also true
  // when the copy of an interrupted save replaced it. Reset by Close.
  virtual bool HadParseError() const { return parseError_; }
  // Whether, at the last open, the file could not be opened or locked. Reset by Close.
  virtual bool HadOpenError() const { return openError_; }
  // Whether the last open failed because another storage or program kept the file locked or open
  // without sharing, which will pass. Reset by Close.
  bool WasLocked() const { return openError_ && file_.WasLocked(); }

  // The longest wait of the next opens, in milliseconds.
  void SetLockWait(int milliseconds) { lockWait_ = milliseconds; }
  // Whether an open would have to wait at this moment.
  bool IsLocked(Document document) const { return StorageFile::IsLocked(Path(document)); }

  // The full path of a document's file; empty without a storage directory. Process-wide.
  static std::string GetPSFileSpec(Document document);

  // Process-wide, to be set before a storage is opened; an empty name or directory restores the
  // default. SetAlternatePS: the part of `path` up to the last '/' or '\', if any, becomes the
  // storage directory, the rest the name of the main file.
  static void SetAlternatePS(std::string_view path);
  static void SetAlternatePSDirectory(std::string_view directory);

  // The location of a run, to which later changes of the process-wide one do not apply. `directory`
  // is the host's choice; if it is empty, the process-wide directory of this moment.
  static StorageLocation LocationOfRun(std::string_view directory);

 private:
  static std::string FileSpec(Document document, const StorageLocation& location);
  std::string Path(Document document) const;
  bool OpenDocument(Document document, Access access);

  const std::optional<StorageLocation> location_;
  int lockWait_ = StorageFile::kDefaultLockWait;
  StorageDocument document_;
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

// Opens the main document for update, calls `work` and saves the document if `work` returns true.
// False, without calling `work`, when another storage keeps the file locked.
template <typename Work>
bool UpdateMainDocument(PersistentStorage& storage, Work work) {
  const StorageCloser closer(storage);
  storage.Open(PersistentStorage::Access::Update);
  if (storage.WasLocked()) {
    return false;
  }
  using Changes = PersistentStorage::Changes;
  storage.Close(work() ? Changes::Save : Changes::Discard);
  return true;
}

// The versions of a product that have run on this machine, except its own, from both storage files:
// a version that never reached a server is in that of the time stamps only. The newest 500 of each
// file, these first. Versions in a locked file are missing. Blocks as an open of these files does.
// Throws std::bad_alloc.
std::vector<std::string> OtherVersions(const ProductIdentity& product,
                                       const std::optional<StorageLocation>& location);

}  // namespace Tav
