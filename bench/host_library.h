// Loads and runs tav.dll for a benchmark, and watches its log.
#pragma once

#include <windows.h>

#include <string>

#include "tav/tav.h"

namespace Bench {

// One object at a time. Failures throw std::runtime_error.
class HostLibrary {
 public:
  explicit HostLibrary(const std::string& path);
  HostLibrary(const HostLibrary&) = delete;
  HostLibrary& operator=(const HostLibrary&) = delete;
  // Terminates the library if it is running; the module stays loaded.
  ~HostLibrary();

  // Initialises the library. Its storage folder is created in `scratch`.
  void Start(const std::string& gatewayUrl, const std::string& scratch);

  // Sends everything and waits for it. Throws if something could not be sent or the library logged
  // a warning or an error: measurements of such a run are worthless.
  void Drain();

  // Terminates the library; throws as Drain does. Blocks for the terminate time at most.
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
