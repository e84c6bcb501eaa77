// The end of a run, on the session thread.
#pragma once

#include "config/config_loader.h"
#include "session/app_status.h"
#include "session/day_stamps.h"
#include "session/delivery.h"
#include "session/final_delivery.h"
#include "session/request_handler.h"

namespace Tav {

// Sends or caches what is left, and stores the state of the run. Keeps the deadline of the sender.
class Shutdown {
 public:
  // Borrows all of them.
  Shutdown(AppStatus& app,
           DayStamps& stamps,
           Delivery& delivery,
           FinalDelivery& finalDelivery,
           RequestHandler& requests,
           Recovery& recovery)
      : app_(app),
        stamps_(stamps),
        delivery_(delivery),
        finalDelivery_(finalDelivery),
        requests_(requests),
        recovery_(recovery) {}

  // `loader` may be null.
  void Run(ConfigLoader* loader);
  // For a run whose settings could not be read: sends nothing.
  void CacheEverything();

  // How long an open at the end may wait for a locked storage file, in milliseconds.
  int LockWait() const;

 private:
  void FinishClientInfo();
  void AwaitSettings(ConfigLoader& loader);
  void ApplyFetchedSettings(ConfigLoader& loader);
  void StoreState();

  AppStatus& app_;
  DayStamps& stamps_;
  Delivery& delivery_;
  FinalDelivery& finalDelivery_;
  RequestHandler& requests_;
  Recovery& recovery_;
};

}  // namespace Tav
