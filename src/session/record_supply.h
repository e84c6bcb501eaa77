// The source of the records that RecordStore gets during a send: one by one, each while the one
// before it is on its way.
#pragma once

namespace Tav {

class RecordSupply {
 public:
  RecordSupply() = default;
  RecordSupply(const RecordSupply&) = delete;
  RecordSupply& operator=(const RecordSupply&) = delete;

  // Whether no events are left that belong to the send.
  virtual bool Exhausted() const = 0;
  // Appends the next record to the store if there is room for it.
  virtual void Supply() = 0;

 protected:
  ~RecordSupply() = default;
};

}  // namespace Tav
