#include "session/machine_status.h"

namespace Tav {

namespace {

using Access = PersistentStorage::Access;
using Changes = PersistentStorage::Changes;

}  // namespace

void MachineStatus::CollectClient() {
  if (collectionDue_) {
    collectionDue_ = !client_.Collect();
  }
}

bool MachineStatus::CollectClientLate() {
  CollectClient();
  return !collectionDue_ && !client_.Pending() && OnClientComplete();
}

bool MachineStatus::FinishClientInfo(int milliseconds) {
  return client_.Pending() && client_.Finish(milliseconds) && OnClientComplete();
}

void MachineStatus::AbandonClientInfo() {
  client_.Abandon();
  OnClientComplete();
}

bool MachineStatus::OnClientComplete() {
  client_.LogClientEnv();
  bool changed = false;
  {
    const StorageCloser closer(storage_);
    storage_.Open(Access::Read);
    changed = ClientChanged();
    storage_.Close(Changes::Discard);
  }
  if (!changed && !changes_.NewServer()) {
    return false;
  }
  changes_.OnMachineChanged();
  return true;
}

bool MachineStatus::HasClientInfo() {
  if (client_.Pending()) {
    return false;
  }
  const StorageCloser closer(storage_);
  storage_.Open(Access::Read);
  client_.UseStored(&storage_);
  storage_.Close(Changes::Discard);
  return !Client().empty();
}

void MachineStatus::PersistClientInfo() {
  client_.PersistClientInfo(&storage_);
  changes_.OnMachineStored();
}

void MachineStatus::CreateEndpoint() {
  endpoint_.Compute();
  endpointUnsaved_ = !StoreEndpoint(endpoint_);
}

// The records of this run have the identifier already.
void MachineStatus::StoreUnsavedEndpoint() {
  Endpoint stored;
  endpointUnsaved_ = !StoreEndpoint(stored);
}

// `found` adopts the identifier that another process has stored meanwhile, if any.
bool MachineStatus::StoreEndpoint(Endpoint& found) {
  return UpdateMainDocument(storage_, [&] {
    const bool missing = found.IsChanged(&storage_);
    if (missing) {
      endpoint_.Persist(&storage_);
    }
    return missing;
  });
}

}  // namespace Tav
