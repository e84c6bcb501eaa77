// The source from which RecordStore gets more records when it has none in memory.
#pragma once

namespace Tav {

// Appends records to the store when there is room for them.
class RecordSupply {
 public:
  RecordSupply() = default;
  RecordSupply(const RecordSupply&) = delete;
  RecordSupply& operator=(const RecordSupply&) = delete;

  virtual bool Exhausted() const = 0;
  virtual void Supply() = 0;

 protected:
  ~RecordSupply() = default;
};

}  // namespace Tav
