// Which data about the product and the machine the server does not have yet.
#pragma once

namespace Tav {

// A change passes through three states: in no record, in a record, stored as sent. Session thread
// only.
class UnsentChanges {
 public:
  // At the start of a run: what differs from the data that earlier runs sent.
  void OnCompared(bool product, bool machine) {
    product_ = product;
    machine_ = machine;
    recordDue_ = product || machine;
  }
  void OnProductChanged() { product_ = recordDue_ = true; }
  void OnMachineChanged() { machine_ = recordDue_ = true; }
  // The new server has no data at all.
  void OnServerChanged() { product_ = machine_ = recordDue_ = true; }
  // A record that carries all changes was built.
  void OnRecordBuilt() { recordDue_ = false; }
  // The storage files hold the data as sent.
  void OnProductStored() {
    product_ = false;
    productStored_ = true;
  }
  void OnMachineStored() { machine_ = false; }

  bool Product() const { return product_; }
  bool Machine() const { return machine_; }
  // Whether a change is in no record yet. A record is then built even without events.
  bool RecordDue() const { return recordDue_; }
  // At the end of a run: whether no product data was sent although some had changed.
  bool ProductNeverSent() const { return product_ && !productStored_; }

 private:
  bool product_ = false;
  bool machine_ = false;
  bool recordDue_ = false;
  bool productStored_ = false;
};

}  // namespace Tav
