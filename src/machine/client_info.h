// The description of the client machine: collected at most once in eight days, compared with the
// stored one, and sent when it differs.
//
// The operating system and the monitors are described at once. The hardware comes from WMI, which
// is slow, so a separate thread queries it (machine/client_wmi_job.h). Until Finish or Abandon has
// completed the description, it counts as not collected, and the day of the collection is not
// stored: after a process that ends early, the next one collects. If WMI has not answered by then,
// the next collection is due tomorrow; if it has failed, in eight days. Used by the session thread
// only.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "machine/client_wmi.h"
#include "model/env_value.h"
#include "platform/machine.h"
#include "platform/wmi.h"
#include "util/storage_directory.h"

namespace Tav {

class PersistentStorage;
class WmiJob;

class ClientInfo {
 public:
  // Tests pass a source of their own. Without a location, the process-wide one is used.
  explicit ClientInfo(std::unique_ptr<Platform::WmiSource> wmi = Platform::CreateWmiSource(),
                      std::optional<StorageLocation> location = {});
  // Never waits: detaches the WMI thread if it still runs.
  virtual ~ClientInfo();
  ClientInfo(const ClientInfo&) = delete;
  ClientInfo& operator=(const ClientInfo&) = delete;

  // Collects the description if that is due, and starts the WMI thread. To be called while no
  // storage is open, once, and again if the result is false: then another process has the time
  // stamps locked, and nothing was collected. Blocks on the disk.
  virtual bool Collect();
  // Without a description, uses the one that the open main document holds. Not while results are
  // pending.
  void UseStored(PersistentStorage* storage);
  // Empty until the description is complete, and when none was collected and UseStored found none.
  virtual const ClientEnv& GetClientEnv() const { return clientEnv_; }
  // Whether the open main document lacks part of the description. False until it is complete, and
  // when none was collected.
  virtual bool IsChanged(PersistentStorage* storage) const;
  // Stores a collected description in the main document, which is open for update. Labels that were
  // stored earlier and are not collected any more stay, except those of the hardware when WMI gave
  // no results: the server now has a description without them, so the next one with them must
  // differ from the stored one.
  virtual void PersistClientInfo(PersistentStorage* storage) const;
  virtual void LogClientEnv() const;

  // Whether WMI results are still awaited.
  bool Pending() const { return job_ != nullptr; }
  // Waits at most that long for the WMI queries; 0 only polls. True when nothing is pending.
  // Queries that take longer than a minute are abandoned. The time stamps must not be open for
  // update.
  bool Finish(int milliseconds);
  // Completes the description without results that are still missing. Detaches the WMI thread;
  // does not wait for it.
  void Abandon();

 private:
  enum class Due { No, Yes, Locked };

  Due ShouldCollect() const;
  void StampDay(bool answered) const;
  void CollectWmi();
  void Complete(bool answered);

  const std::optional<StorageLocation> location_;
  std::unique_ptr<Platform::WmiSource> wmi_;
  std::unique_ptr<WmiJob> job_;  // null unless pending
  int64_t pendingUntil_ = 0;     // milliseconds on the monotonic clock
  ClientEnv found_;              // the incomplete description
  ClientEnv clientEnv_;
  bool collected_ = false;
  bool hardwareKnown_ = false;  // the collected description has the results of WMI
};

// Whether a description is due: `lastDay`, a stored value, is eight or more days before `today`, or
// not a number. False for a day in the future, which counts as today. Days since 1970.
bool IsCollectionDue(const EnvValue& lastDay, int64_t today);

// Add the labels of the operating system, locale, time zone and processor, or of the monitors.
// Labels without a known text are left out.
void AddOsKeys(ClientEnv& env);
void AddMonitorKeys(const Platform::Monitors& monitors, ClientEnv& env);

// "en_US" in place of a locale name without meaning; any other name unchanged.
std::string MeaningfulLocale(const std::string& name);

}  // namespace Tav
