// What the storage files know of product, machine and user, compared with what they are now:
// whether the product's or the client's environment must be sent, the settings of the last fetch,
// the endpoint identifier, the day stamps. Each operation opens a storage file, does its work and
// closes it. A file that cannot be read counts as empty, one that cannot be written leaves the work
// to a later run; the log tells of both.
//
// Used by the session thread only, but for the two day numbers, which any thread may read.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "config/config_manager.h"
#include "machine/client_info.h"
#include "machine/endpoint.h"
#include "session/record_builder.h"
#include "storage/persistent_storage.h"
#include "storage/product_info.h"

namespace Tav {

class AppStatus {
 public:
  // Borrows all of them.
  AppStatus(ProductInfo& product,
            ClientInfo& client,
            Endpoint& endpoint,
            ConfigManager& settings,
            ChangedFlags& changed)
      : product_(product),
        client_(client),
        endpoint_(endpoint),
        settings_(settings),
        changed_(changed) {}

  // Finds out what has changed since the last run, loads the settings and the endpoint identifier,
  // and makes and stores the latter when there is none.
  void Load();
  // Whether the description of the machine differs from the stored one.
  bool IsClientChanged();
  // Loads the day stamps. True once a day: the settings are to be fetched. The day counts as done
  // then, whatever the fetch brings.
  bool LoadTimestamp(int64_t now);

  // After a send: what changed has reached the server.
  void PersistAppStatusChanges();
  // At the end of a run that could not send its opt-out or opt-in.
  void PersistPendingOptOut();
  // Forgets one that an earlier run left; nothing happens when there is none.
  void ClearPendingOptOut();
  void PersistLastActiveTime(int64_t now);
  void PersistLastServerAccessTime(int64_t now);
  // For the next run.
  void SaveSettings(const EnvMap& settings, const std::vector<std::string>& inhibitList);

  // Days since 1970, 0 for never.
  int64_t LastServerAccessTime() const {
    return lastServerAccessTime_.load(std::memory_order_relaxed);
  }
  int64_t LastActiveTime() const { return lastActiveTime_.load(std::memory_order_relaxed); }

 private:
  void StoreEndpoint();
  bool StoreDay(const char* key, int64_t day);

  ProductInfo& product_;
  ClientInfo& client_;
  Endpoint& endpoint_;
  ConfigManager& settings_;
  ChangedFlags& changed_;
  PersistentStorage storage_;
  // Written by the session thread at any time, also while a host reads what it was answered.
  std::atomic<int64_t> lastServerAccessTime_{0};
  std::atomic<int64_t> lastActiveTime_{0};
};

}  // namespace Tav
