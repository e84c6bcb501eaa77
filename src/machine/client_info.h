// The description of the client machine: collected at most once in eight days, compared with what
// was sent last, and sent when it differs.
//
// Most of it is there at once. What the system's management service knows takes from tenths of a
// second to minutes, so that a thread of its own asks; until Finish has taken its answers over, the
// description counts as not collected. Used by the session thread only.
#pragma once

#include <cstdint>
#include <memory>

#include "machine/client_env.h"
#include "platform/wmi.h"

namespace Tav {

class PersistentStorage;
class WmiJob;

class ClientInfo {
 public:
  // With another source than the system's own for tests.
  explicit ClientInfo(std::unique_ptr<Platform::WmiSource> wmi = Platform::CreateWmiSource());
  // Leaves the management service's thread behind if it still runs; never waits.
  virtual ~ClientInfo();
  ClientInfo(const ClientInfo&) = delete;
  ClientInfo& operator=(const ClientInfo&) = delete;

  // Once at start-up: when the last collection is eight days old, collects what is there at once
  // and starts the thread. Opens the document of time stamps meanwhile; blocks as the disk does.
  virtual void Collect();
  // Empty when nothing was collected, and until it is complete.
  virtual const ClientEnv& GetClientEnv() const { return clientEnv_; }
  // Whether the main document, open for reading, lacks any of it. False when nothing was collected,
  // and until it is complete.
  virtual bool IsChanged(PersistentStorage* storage) const;
  // Stores it in the main document, which is open for update. What is not known any more stays.
  virtual void PersistClientInfo(PersistentStorage* storage) const;
  virtual void LogClientEnv() const;

  // Whether the management service has not answered yet.
  bool Pending() const { return job_ != nullptr; }
  // Waits for its answers for at most so many milliseconds; 0 only looks. True when nothing is
  // pending (any more): the description is complete then, if one was to be collected. A service
  // that has not answered within a minute counts as failed.
  bool Finish(int milliseconds);
  // Goes without the answers that have not come; the thread is left behind. Never waits.
  void Abandon();

 private:
  static bool ShouldCollect();

  void CollectWmi();
  void Complete();

  std::unique_ptr<Platform::WmiSource> wmi_;
  std::unique_ptr<WmiJob> job_;  // null: nothing is pending
  int64_t pendingUntil_ = 0;     // milliseconds of the monotonic clock
  ClientEnv found_;              // what was there at once
  ClientEnv clientEnv_;
  bool collected_ = false;
};

}  // namespace Tav
