// Runs the WMI queries on a separate thread, because they take from tenths of a second to minutes.
// The owner polls for the result and may detach the thread at any time.
#pragma once

#include <memory>
#include <vector>

#include "machine/client_wmi.h"
#include "platform/thread.h"
#include "platform/wmi.h"

namespace Tav {

// Used by one thread, the owner's. Owner and worker share the state; the later of the two frees it.
// The worker neither logs nor makes JSON: once detached it must not call into the application's log
// sink. Its code stays mapped until it ends.
class WmiJob {
 public:
  explicit WmiJob(std::unique_ptr<Platform::WmiSource> source);
  // Never waits: detaches a worker that still runs, which ends after its current call to the
  // source.
  ~WmiJob();
  WmiJob(const WmiJob&) = delete;
  WmiJob& operator=(const WmiJob&) = delete;

  // Starts the worker; to be called once. False when the system has no thread left.
  bool Start();

  // Waits at most that long for the worker to end, and logs the messages it left so far. True when
  // it has ended.
  bool Wait(int milliseconds);

  // The queries with their rows; null until the worker has ended, and when it failed.
  const std::vector<WmiQuery>* Result() const;

 private:
  struct Shared;

  static void Entry(void* argument);

  std::shared_ptr<Shared> shared_;
  Platform::NativeThread thread_;
};

}  // namespace Tav
