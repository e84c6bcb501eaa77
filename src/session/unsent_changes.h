// Which data about the product and the machine the server does not have yet.
#pragma once

#include <cstdint>

#include "model/built_record.h"

namespace Tav {

// One kind of data. A change is sent when the server has accepted the very record that carries it;
// a change that the application makes after that record was built is another one.
class UnsentData {
 public:
  void OnChanged() {
    ++change_;
    state_ = State::New;
    cached_ = false;
  }
  void OnRecordBuilt(uint64_t carried) {
    if (carried == change_ && IsMissing()) {
      state_ = State::InMemory;
    }
  }
  // The server has accepted a record that carries this, 0 for nothing.
  void OnAccepted(uint64_t carried) {
    if (IsUnsent() && carried == change_) {
      state_ = State::Accepted;
    } else if (state_ == State::OnDisk) {
      state_ = State::Missing;
    }
    cached_ = false;
  }
  // The record is gone.
  void OnLost(uint64_t carried) {
    if (state_ == State::InMemory && carried == change_) {
      state_ = State::Missing;
    }
  }
  // A record that carries this came back from the cache.
  void OnLoaded(uint64_t carried) {
    if (carried == change_ && (state_ == State::Missing || state_ == State::OnDisk)) {
      state_ = State::InMemory;
    }
  }
  // Records moved to the cache; those that are left in memory carry `inMemory`. The cache may lose
  // a record, or another process may send it. Therefore one more copy is made at once, and another
  // one only when the server accepts records again: the disk must not fill with copies.
  void OnFlushed(uint64_t inMemory) {
    if (state_ == State::InMemory && inMemory != change_) {
      state_ = cached_ ? State::OnDisk : State::Missing;
      cached_ = true;
    }
  }
  void OnStored() { state_ = State::Sent; }

  bool IsNew() const { return state_ == State::New; }
  // Whether no record carries the data, or only one that is gone from memory.
  bool IsMissing() const { return state_ == State::New || state_ == State::Missing; }
  bool IsAccepted() const { return state_ == State::Accepted; }
  bool IsUnsent() const { return state_ != State::Sent && state_ != State::Accepted; }
  // The number of the latest change, above 0 when there was one.
  uint64_t Change() const { return change_; }

 private:
  enum class State {
    Sent,      // and stored as sent
    New,       // in no record yet
    InMemory,  // in a record in memory
    Missing,   // in no record in memory any more
    OnDisk,    // cached repeatedly
    Accepted,  // not stored as sent yet
  };

  State state_ = State::Sent;
  uint64_t change_ = 0;
  bool cached_ = false;  // since the change, or the last record that the server accepted
};

// Session thread only.
class UnsentChanges {
 public:
  // At the start of a run: what differs from the data that earlier runs sent.
  void OnCompared(bool product, bool machine) {
    if (product) {
      OnProductChanged();
    }
    if (machine) {
      OnMachineChanged();
    }
  }
  void OnProductChanged() { product_.OnChanged(); }
  void OnMachineChanged() { machine_.OnChanged(); }
  // The gateway has not received any of this product's data.
  void OnNewServer() {
    newServer_ = true;
    OnProductChanged();
  }
  bool NewServer() const { return newServer_; }

  // What the next record has to carry. New data has a record of its own if there are no events;
  // data whose record is gone waits for a record that is built anyway.
  CarriedData ForRecord(bool withEvents) const {
    if (!withEvents && !RecordDue()) {
      return {};
    }
    return {product_.IsMissing() ? product_.Change() : 0,
            machine_.IsMissing() ? machine_.Change() : 0};
  }
  void OnRecordBuilt(const CarriedData& carried) { ForBoth(&UnsentData::OnRecordBuilt, carried); }
  // For each record that the server has accepted.
  void OnAccepted(const CarriedData& carried) { ForBoth(&UnsentData::OnAccepted, carried); }
  // For each record that was pulled or dropped.
  void OnLost(const CarriedData& carried) { ForBoth(&UnsentData::OnLost, carried); }
  // For each record that was loaded from the cache.
  void OnLoaded(const CarriedData& carried) { ForBoth(&UnsentData::OnLoaded, carried); }
  // After a flush to the cache; `inMemory` is what the records carry that could not be cached.
  void OnFlushed(const CarriedData& inMemory) { ForBoth(&UnsentData::OnFlushed, inMemory); }
  // The storage files hold the accepted data as sent.
  void OnProductStored() {
    product_.OnStored();
    productStored_ = true;
  }
  void OnMachineStored() { machine_.OnStored(); }

  // Whether the product data may be stored as sent. A new server is stored when it also has the
  // description of the machine. Otherwise a run that ends before the description is complete would
  // leave that server without one.
  bool ProductStorable(bool descriptionPending) const {
    return product_.IsAccepted() && !(newServer_ && (descriptionPending || machine_.IsUnsent()));
  }
  bool MachineAccepted() const { return machine_.IsAccepted(); }
  bool ProductUnsent() const { return product_.IsUnsent(); }
  // Whether a change was in no record yet. A record is then built even without events.
  bool RecordDue() const { return product_.IsNew() || machine_.IsNew(); }
  // At the end of a run: whether no product data was sent although some had changed.
  bool ProductNeverSent() const { return product_.IsUnsent() && !productStored_; }

 private:
  void ForBoth(void (UnsentData::*step)(uint64_t), const CarriedData& data) {
    (product_.*step)(data.product);
    (machine_.*step)(data.machine);
  }

  UnsentData product_;
  UnsentData machine_;
  bool newServer_ = false;
  bool productStored_ = false;
};

}  // namespace Tav
