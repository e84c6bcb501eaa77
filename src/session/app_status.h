// Loads, compares and saves the stored state of the product: which data the server lacks, a pending
// opt-out, and the settings of the last fetch. MachineStatus does the same for the machine.
#pragma once

#include <memory>
#include <string>

#include "config/config_manager.h"
#include "model/handles.h"
#include "model/library_config.h"
#include "session/intake.h"
#include "session/machine_status.h"
#include "session/unsent_changes.h"
#include "storage/persistent_storage.h"
#include "storage/product_info.h"

namespace Tav {

// Each operation opens a storage file, does its work and closes it. A file that cannot be read
// counts as empty; a later run repeats a write that failed. Both are logged. What cannot be stored
// because another process has the file locked waits for StoreUnsaved. Session thread only.
class AppStatus {
 public:
  // Takes the product's identity and values from the configuration. Tests pass a source of their
  // own.
  AppStatus(const LibraryConfig& config,
            Consent consent,
            std::unique_ptr<Platform::WmiSource> wmi = Platform::CreateWmiSource());

  // Finds what changed since the last run, loads the settings, and makes and stores the endpoint
  // identifier when there is none. Waits at most `lockWait` milliseconds for the file. False, and
  // no change, while another process has it locked.
  bool Load(int lockWait);
  // Whether another process has the file locked at this moment.
  bool Locked() const { return storage_.IsLocked(PersistentStorage::Document::Main); }
  // In place of Load: the run reports only what changes in it.
  void AssumeNothingChanged() { product_.SendOnlyChanges(); }
  // If the product data was never sent to this server, marks all of it as unsent, and the stored
  // description of the machine unless a new one is being collected.
  void UpdateServer(const std::string& gatewayUrl);

  // A product value from the host.
  void OnProductEnv(const TavValue_s& value);

  // After all records were sent: stores the changes in them as sent, and clears a pending opt-out
  // unless the server lacks product data.
  void PersistAppStatusChanges();
  // After some records were sent: stores the changes in those that the server accepted as sent.
  void PersistAccepted();
  // At the end of a run that could not send its opt-out or opt-in: stores it as pending.
  void PersistPendingOptOut();
  // At the start of an opted-out run: removes the pending opt-out that an earlier run stored.
  void ClearOldOptOut();
  // Stores the settings that the server sent, for the next run. A gateway that must not be used,
  // see AcceptsGateway, is not stored. Waits at most `lockWait` milliseconds for the file; drops
  // the settings with a warning if it stays locked.
  void StoreFetchedSettings(const std::string& answer,
                            const std::string& gatewayInForce,
                            int lockWait);

  // Whether something waits to be stored because the file was locked.
  bool Unsaved() const;
  // Stores it, waiting at most `lockWait` milliseconds for the file each time.
  void StoreUnsaved(int lockWait);

  const ProductInfo& Product() const { return product_; }
  const ConfigManager& Config() const { return settings_; }
  MachineStatus& Machine() { return machine_; }
  const MachineStatus& Machine() const { return machine_; }
  UnsentChanges& Changes() { return changes_; }

 private:
  void ClearPendingOptOut();

  const Consent consent_;
  ProductInfo product_;
  ConfigManager settings_;
  PersistentStorage storage_;
  UnsentChanges changes_;
  MachineStatus machine_;
  bool sentUnsaved_ = false;      // the server has the changes; nothing has changed since
  bool optOutUnsaved_ = false;    // a pending opt-out at the end of the run
  bool clearingUnsaved_ = false;  // the removal of a pending opt-out
};

}  // namespace Tav
