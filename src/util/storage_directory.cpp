#include "util/storage_directory.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/file.h"
#include "platform/process.h"
#include "platform/thread.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr char kBaseVariable[] = "LOCALAPPDATA";

struct Directories {
  StorageLocation alternate;
  std::optional<std::string> found;  // an empty text if there is none
};

// Created on first use and never destroyed, like all process-wide state of the library.
constinit Directories* directories = nullptr;
constinit Platform::StaticLock guard;

// Requires the lock.
Directories& State() {
  if (directories == nullptr) {
    directories = new Directories;
  }
  return *directories;
}

// Another process may create the directory between the check and the attempt.
bool EnsureDirectory(const std::string& path, const char* createdMessage) {
  if (Platform::DirectoryExists(path)) {
    return true;
  }
  if (Platform::MakeDirectory(path)) {
    TAV_DEBUG("%s", createdMessage);
    return true;
  }
  const int reason = errno;
  if (reason == EEXIST && Platform::DirectoryExists(path)) {
    return true;
  }
  errno = reason;
  LogError("*SF: Cannot create directory '%s'", path.c_str());
  return false;
}

std::string FindDirectory() {
  const std::optional<std::string> base = Platform::Environment(kBaseVariable);
  if (!base || base->empty()) {
    LogError("SF: PS env var %s missing", kBaseVariable);
    return {};
  }
  if (!Platform::DirectoryExists(*base)) {
    errno = ENOENT;
    LogError("*SF: PS directory does not exist");
    return {};
  }
  std::string path = JoinPath(*base, "Quendel");
  if (!EnsureDirectory(path, "Created PS sub-dir")) {
    return {};
  }
  path = JoinPath(path, "Tav");
  if (!EnsureDirectory(path, "Created PS sub-dir-2")) {
    return {};
  }
  return path;
}

}  // namespace

StorageLocation AlternateStorage() {
  const std::lock_guard lock(guard);
  return State().alternate;
}

std::string GetStorageDirectory(const StorageLocation& location) {
  if (!location.directory.empty()) {
    return location.directory;
  }
  {
    const std::lock_guard lock(guard);
    if (const std::optional<std::string>& found = State().found) {
      return *found;
    }
  }
  // Without the lock, because it logs: the host's log function may call a function that needs the
  // lock. Two threads that get here at once find the same directory.
  std::string path = FindDirectory();
  const std::lock_guard lock(guard);
  State().found = path;
  return path;
}

std::string NormalStorageDirectory(std::string_view path) {
  std::string directory = Platform::PathToUtf8(path);
  TAV_DEBUG("Alternate PS dir set to %s", directory.c_str());
  std::replace(directory.begin(), directory.end(), '/', Platform::kPathSeparator);
  return directory;
}

void SetAlternateStorageDirectory(std::string_view path) {
  std::string alternate = NormalStorageDirectory(path);
  const std::lock_guard lock(guard);
  State().alternate.directory = std::move(alternate);
}

void SetAlternateStorageName(std::string name) {
  const std::lock_guard lock(guard);
  State().alternate.fileName = std::move(name);
}

std::string JoinPath(std::string_view directory, std::string_view name) {
  std::string path(directory);
  if (!path.ends_with(Platform::kPathSeparator)) {
    path += Platform::kPathSeparator;
  }
  return path.append(name);
}

std::string JoinStoragePath(std::string_view fileName, const StorageLocation& location) {
  std::string directory = GetStorageDirectory(location);
  return directory.empty() ? directory : JoinPath(directory, fileName);
}

void ForgetStorageDirectory() {
  const std::lock_guard lock(guard);
  State().alternate.directory.clear();
  State().found.reset();
}

}  // namespace Tav
