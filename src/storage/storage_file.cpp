#include "storage/storage_file.h"

#include <cerrno>
#include <utility>

#include "platform/file.h"
#include "storage/storage_keys.h"
#include "streams/file_stream.h"
#include "streams/filter_stream.h"
#include "streams/json_stream.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr size_t kStorageJsonFlags = JSON_INDENT(4) | JSON_ENSURE_ASCII;
constexpr char kCopySuffix[] = ".new";

std::string CopyOf(const std::string& path) {
  return path + kCopySuffix;
}

// Null, with the reason in `error`, unless the file holds one JSON value.
JsonPtr ReadJson(TavFile& file, std::string& error) {
  TavFileInputStream bytes(&file);
  BufferedInputStream buffered(&bytes);
  JsonInputStream json(&buffered);
  JsonPtr root = json.ReadValue();
  if (!root) {
    error = json.ErrorText();
  }
  return root;
}

bool WriteJson(TavFile& file, const json_t* root) {
  // A failed file accepts no bytes; truncating it would only lose its contents.
  if (!file.Failed()) {
    file.Truncate();  // a failure is kept by the file and reported by the stream
  }
  TavFileOutputStream bytes(&file);
  BufferedOutputStream buffered(&bytes);
  JsonOutputStream json(&buffered, kStorageJsonFlags);
  json.WriteValue(root);
  json.Flush();
  if (json.HasError()) {
    LogError("PS: %s", json.ErrorText());
  }
  return !json.HasError();
}

bool HasProducts(const JsonPtr& root) {
  return json_is_array(json_object_get(root.Get(), StorageKeys::kProducts));
}

}  // namespace

bool StorageFile::Exists(const std::string& path) {
  return TavFile::Exists(path.c_str()) || TavFile::Exists(CopyOf(path).c_str());
}

// Opening would create a missing file.
bool StorageFile::IsLocked(const std::string& path) {
  if (!TavFile::Exists(path.c_str())) {
    return false;
  }
  Platform::File file;
  const Platform::OpenResult result = file.Open(path.c_str(), Platform::FileUse::Update);
  return result == Platform::OpenResult::InUse ||
         (result == Platform::OpenResult::Opened && !file.LockFirstByte() && errno == EACCES);
}

bool StorageFile::Open(std::string path, int lockWait) {
  path_ = std::move(path);
  const bool existed = Exists(path_);
  fromCopy_ = false;
  if (file_.OpenForUpdate(path_.c_str(), lockWait)) {
    // Another process may have saved before this one got the lock.
    Platform::FileStatus status;
    fresh_ = !existed && Platform::QueryFileStatus(path_.c_str(), status) && status.size == 0 &&
             !TavFile::Exists(CopyOf(path_).c_str());
    return true;
  }
  if (file_.LastingFailure()) {
    LogError("PS: Cannot open PS file");
  }
  return false;
}

JsonPtr StorageFile::Read(bool& damaged) {
  damaged = false;
  if (fresh_) {
    return JsonPtr();
  }
  std::string error;
  JsonPtr root = ReadJson(file_, error);
  // jansson does not tell damage from a lack of memory. Without the second attempt, the next save
  // would replace a good document.
  if (!root && !file_.Failed() && file_.Rewind()) {
    root = ReadJson(file_, error);
  }
  damaged = !root;
  if (damaged) {
    LogWarning("PS: Open: error parsing JSON data for PS: %s", error.c_str());
    root = ReadCopy();
    fromCopy_ = static_cast<bool>(root);
  } else if (!HasProducts(root)) {
    TAV_TRACE("PS: Open: Prod array not found");
    root.Reset();
  }
  return root;
}

// The file's lock protects the copy, too.
JsonPtr StorageFile::ReadCopy() const {
  const std::string path = CopyOf(path_);
  TavFile copy;
  // OpenForUpdate would create a missing file.
  if (!TavFile::Exists(path.c_str()) || !copy.OpenForUpdate(path.c_str(), kDefaultLockWait)) {
    return JsonPtr();
  }
  std::string error;
  JsonPtr root = ReadJson(copy, error);
  if (!root || !HasProducts(root)) {
    LogWarning("PS: Open: the copy that an interrupted save left holds no document");
    return JsonPtr();
  }
  LogWarning("PS: Open: using the copy that an interrupted save left");
  return root;
}

void StorageFile::Write(const json_t* root) {
  if (!fromCopy_ && !WriteCopy(root)) {
    return;
  }
  if (WriteJson(file_, root)) {
    fromCopy_ = false;
    TavFile::Delete(CopyOf(path_).c_str());
  }
}

bool StorageFile::WriteCopy(const json_t* root) const {
  const std::string path = CopyOf(path_);
  TavFile copy;
  if (!copy.OpenForUpdate(path.c_str(), kDefaultLockWait)) {
    LogError("PS: %s", copy.ErrorText());
    return false;
  }
  bool written = WriteJson(copy, root);
  if (!copy.Close() && written) {
    LogError("PS: %s", copy.ErrorText());
    written = false;
  }
  if (!written) {
    TavFile::Delete(path.c_str());
  }
  return written;
}

bool StorageFile::Delete(const std::string& path) {
  for (const std::string& part : {CopyOf(path), path}) {
    if (!TavFile::Delete(part.c_str())) {
      TAV_DEBUG("PS: Could not remove PS file '%s'", part.c_str());
      return false;
    }
  }
  TAV_TRACE("PS file destroyed: %s", path.c_str());
  return true;
}

}  // namespace Tav
