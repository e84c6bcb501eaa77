// Loads cached records, and holds the file whose records are being used until all are consumed. The
// operations are those of CacheManager.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "cache/cache_lease.h"
#include "cache/cache_state.h"
#include "model/built_record.h"

namespace Tav {

class TavFile;

// Used by one thread at a time. Failures are logged and counted.
class CacheLoader {
 public:
  // Borrows the state.
  explicit CacheLoader(CacheState& state) : state_(state) {}
  CacheLoader(const CacheLoader&) = delete;
  CacheLoader& operator=(const CacheLoader&) = delete;
  // Tries again to delete consumed files that could not be deleted before.
  ~CacheLoader();

  void Load(RecordList& records);

  bool Lease(RecordList& records);
  CacheLease& Current() { return lease_; }
  const CacheLease& Current() const { return lease_; }
  bool EndLease();
  bool ReturnLease(const RecordList& rest);
  // Tries again to delete the consumed files that could not be deleted.
  void DeleteConsumed();

  void DropAccepted(const LeaseNote& note);

 private:
  int64_t MaxLoadSize() const;
  bool LeaseFile(CacheDirectory& directory, int sequence, RecordList& records);
  bool OpenToLoad(CacheDirectory& directory, int sequence, TavFile& file);

  CacheState& state_;
  CacheLease lease_;
  std::vector<std::unique_ptr<TavFile>> consumed_;  // could not be deleted; open for exclusive use
};

}  // namespace Tav
