// The description of the client machine and the endpoint identifier of this run, compared with the
// stored ones. AppStatus owns it.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "machine/client_info.h"
#include "machine/endpoint.h"
#include "session/intake.h"
#include "session/unsent_changes.h"
#include "storage/persistent_storage.h"

namespace Tav {

// Opens the storage itself unless a comment says that the main document is open. Session thread
// only.
class MachineStatus {
 public:
  // Borrows `storage` and `changes`.
  MachineStatus(PersistentStorage& storage,
                UnsentChanges& changes,
                Consent consent,
                std::unique_ptr<Platform::WmiSource> wmi,
                const StorageLocation& location)
      : storage_(storage),
        changes_(changes),
        client_(std::move(wmi), location),
        collectionDue_(consent.AllowsMachineDescription()) {}

  // Starts to collect the description of the machine, which may take minutes. Does nothing after an
  // opt-out. If the time stamps are locked, the collection stays due.
  void CollectClient();
  bool CollectionDue() const { return collectionDue_; }
  // As CollectClient, after AppStatus::Load. True when the description has become complete and must
  // be sent.
  bool CollectClientLate();
  // Waits at most `milliseconds` for the description of the machine. True when it has just become
  // complete and must be sent.
  bool FinishClientInfo(int milliseconds);
  // Completes the description without the missing answers; never waits.
  void AbandonClientInfo();
  bool ClientPending() const { return client_.Pending(); }
  void LogClientEnv() const { client_.LogClientEnv(); }
  const ClientEnv& Client() const { return client_.GetClientEnv(); }

  // Whether there is a description, of this run or stored. False while one is being collected: that
  // one is sent when it is complete.
  bool HasClientInfo();

  // The main document is open: whether it lacks part of the description.
  bool ClientChanged() const { return client_.IsChanged(&storage_); }
  // The main document is open for update: stores the description as sent.
  void PersistClientInfo();

  void ComputeEndpoint() { endpoint_.Compute(); }
  const std::string& EndpointId() const { return endpoint_.GetId(); }
  // The main document is open: whether it lacks the identifier. If not, adopts it.
  bool EndpointChanged() { return endpoint_.IsChanged(&storage_); }
  // Computes and stores the identifier, or adopts the one that another process has stored
  // meanwhile.
  void CreateEndpoint();
  // Whether the identifier waits to be stored because the file was locked.
  bool EndpointUnsaved() const { return endpointUnsaved_; }
  void StoreUnsavedEndpoint();

 private:
  bool StoreEndpoint(Endpoint& found);
  bool OnClientComplete();

  PersistentStorage& storage_;
  UnsentChanges& changes_;
  ClientInfo client_;
  Endpoint endpoint_;
  bool collectionDue_;
  bool endpointUnsaved_ = false;
};

}  // namespace Tav
