// The questions to the system's management service on a thread of their own, because nobody knows
// how long the answers take. The owner comes by for them, and may leave the thread behind.
#pragma once

#include <memory>
#include <vector>

#include "machine/client_wmi.h"
#include "platform/thread.h"
#include "platform/wmi.h"

namespace Tav {

// Used by the owner's thread. What the worker touches belongs to the worker and the owner together,
// and goes with the later of the two. A worker that was left behind neither logs nor makes JSON: it
// needs nothing of the library but its code, which stays mapped until the thread has ended.
class WmiJob {
 public:
  explicit WmiJob(std::unique_ptr<Platform::WmiSource> source);
  // Leaves a worker that still runs behind; never waits. It ends with the step that it is in.
  ~WmiJob();
  WmiJob(const WmiJob&) = delete;
  WmiJob& operator=(const WmiJob&) = delete;

  // Starts the worker, once. False when the system gave no thread.
  bool Start();

  // Waits for the end of the work for at most so many milliseconds, and writes the messages that
  // have come so far. True when the work has ended.
  bool Wait(int milliseconds);

  // The queries with their rows; null unless the work has ended, and ended well.
  const std::vector<WmiQuery>* Result() const;

 private:
  struct Shared;

  static void Entry(void* argument);

  std::shared_ptr<Shared> shared_;
  Platform::NativeThread thread_;
};

}  // namespace Tav
