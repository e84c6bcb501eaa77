// What becomes of the unsent events at the end of a run: they are sent if the schedule allows it,
// else cached; what is neither sent, cached nor in the journal is counted as lost.
#pragma once

#include <cstdint>

#include "session/cache_flush.h"
#include "session/delivery.h"
#include "session/run_journal.h"

namespace Tav {

// Session thread only. Keeps the deadline of the delivery's sender.
class FinalDelivery {
 public:
  // Borrows all of them.
  FinalDelivery(Delivery& delivery, CacheFlush& flush, const RunJournal& journal)
      : delivery_(delivery), flush_(flush), journal_(journal) {}

  // Sends if the schedule allows it.
  void SendAtTermination();
  // After SendAtTermination: caches what is unsent while time permits. The rest stays in the
  // journal; what is not there is lost.
  void CacheUnsent();
  // After CacheUnsent: counts what is lost, in a warning. Needs no memory.
  void ReportLost() const;

 private:
  void BuildLost(int64_t end);
  // Whether events that are in no record are not in the journal's file either.
  bool PendingAreLost() const;

  Delivery& delivery_;
  CacheFlush& flush_;
  const RunJournal& journal_;
};

}  // namespace Tav
