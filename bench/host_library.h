// tav.dll as a benchmark uses it: loaded from the program's folder or a given path, started once,
// listened to.
#pragma once

#include <windows.h>

#include <string>

#include "tav/tav.h"

namespace Bench {

// At most one at a time. Failures throw std::runtime_error with a text for people.
class HostLibrary {
 public:
  explicit HostLibrary(const std::string& path);
  HostLibrary(const HostLibrary&) = delete;
  HostLibrary& operator=(const HostLibrary&) = delete;
  // Terminates it when it was started; the module stays loaded.
  ~HostLibrary();

  // Initialises the library with `gatewayUrl`. What it keeps on disk goes under `scratch`.
  void Start(const std::string& gatewayUrl, const std::string& scratch);

  // Sends everything and waits for it; throws when something could not be sent or the library
  // complained, because a figure of a run that lost events says nothing.
  void Drain();

  // Ends it; throws as Drain does. Blocks for the library's terminate time at most.
  void Stop();

  const TavEntryTable& Table() const { return *table_; }
  HMODULE Module() const { return module_; }
  uint64_t FileSize() const;

 private:
  HMODULE module_ = nullptr;
  const TavEntryTable* table_ = nullptr;
  bool running_ = false;
};

}  // namespace Bench
