// What the user's choice allows the library to do.
#pragma once

namespace Tav {

// An opted-out product sends its opt-out and nothing else. Fixed for a run.
class Consent {
 public:
  explicit Consent(bool optedOut) : optedOut_(optedOut) {}

  // Events, product values and records from the host.
  bool AllowsReports() const { return !optedOut_; }
  bool AllowsMachineDescription() const { return !optedOut_; }
  // Records on disk. The storage files remember an opt-out until it is sent; the cache is not
  // needed for it.
  bool AllowsCache() const { return !optedOut_; }

 private:
  bool optedOut_;
};

}  // namespace Tav
