// The heart of the library: one instance while the library is initialised. Hosts' calls become work
// items on a queue; the session thread, this object's own, does all the work: it filters and
// batches events, builds records and delivers them.
//
// The first section of the class is called on any host thread, the rest runs on the session thread
// only. Host calls never build records, touch files or talk to the network.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "cache/cache_manager.h"
#include "config/config_loader.h"
#include "config/config_manager.h"
#include "machine/client_info.h"
#include "machine/endpoint.h"
#include "model/built_record.h"
#include "model/library_config.h"
#include "session/app_status.h"
#include "session/event_rate.h"
#include "session/pending_events.h"
#include "session/record_builder.h"
#include "session/send_schedule.h"
#include "session/work_queue.h"
#include "storage/product_info.h"
#include "transport/threaded_data_sender.h"
#include "util/thread.h"

struct TavEvent_s;
struct TavValue_s;

namespace Tav {

class SessionManager final : public Thread {
 public:
  // Takes over what the host configured.
  explicit SessionManager(LibraryConfig config);

  // Starts the session thread. 0, or 4 when it could not be started.
  int Init();

  // Takes over an event. One without a session joins the implied session, which its first event
  // opens.
  void Log(TavEvent_s* event);

  // Takes over a named value for the product environment.
  void ChangeProductEnv(TavValue_s* value);

  // These wait until the session thread has handled everything queued before and the request
  // itself, which may include a send. Several hosts that call at once are served one after another.
  // 0 when all was sent, 1 when not, 2 when the cache could not be written.
  int Commit();
  // The oldest record as a data block that the caller frees with std::free; null when there is
  // none.
  char* PullData();
  // Takes a data block back in; anything else is rejected with a warning.
  void PushData(std::string_view block);
  std::string GetEndpointInstance();
  // Days since 1970, 0 for never.
  long GetLastServerAccessTime();
  long GetLastActiveTime();

  // These return at once.
  void Suspend();
  void Resume();
  void SuspendForTermination();
  void SetWaitDelay(int milliseconds);
  void SetTestFlag(bool flag) { testFlag_ = flag; }

  // Ends the implied session and the session thread, and waits for the latter for at most the
  // terminate time. The thread may outlive the wait; it holds its own reference to this object.
  void Stop();

 protected:
  ~SessionManager() override;
  void Main() override;

 private:
  // On host threads.
  void JoinImpliedSession(TavEvent_s& event);
  void OpenImpliedSession();
  void Queue(ItemCode code);
  bool Ask(ItemCode code);
  void Await(bool asked);
  void SetFinalDeadline(int64_t monotonicMilliseconds);

  // The loop.
  void StartUp();
  void ProcessData();
  void ProcessTurn();
  void ProcessItems(WorkList items, int64_t now);
  void ProcessItem(WorkItemPtr item, int64_t now);
  void OnEvent(WorkItemPtr item, int64_t now);
  void QueueEvent(WorkItemPtr item, int64_t now);
  void OnCommit();
  void OnProductEnv(const TavValue_s& value);
  void OnPullData();
  void OnPushData();

  // Start-up.
  void CheckAppStatus();
  void ApplySettings();
  void LogBanner(const SendSchedule::Tuning& tuning) const;
  void UpdateSender(std::string url);
  void UpdateServer();
  void StartConfigLoader();
  void OpenCache();
  void FinishClientInfo(int milliseconds);
  void OnClientInfo();

  // Delivery.
  bool IsSendDue();
  void ProcessEventList(bool all);
  void FlushToCache();
  void BoundMemory();
  bool SendToServer();
  bool SendAllRecords();
  bool SendOnConnection();
  bool SendRecords();
  bool SendRecord();
  bool LoadCacheRecords();
  bool NearFinalTermination() const;
  void DropDamagedRecords();
  int64_t CacheSize() const {
    return cache_ == nullptr || config_.optOut ? 0 : cache_->TotalSize();
  }
  // What a send could deliver.
  SendSchedule::Backlog Waiting() const {
    return {records_.Bytes(), std::max<int64_t>(CacheSize() - unloadable_, 0)};
  }

  // The end.
  void ProcessTermination();
  int64_t TimeToFinalDeadline() const;
  void FinishClientInfoAtTermination();
  void TakeBackHandOver();
  void SendAtTermination();
  void KeepUnsent();
  void ApplyFetchedSettings();

  // Set before the thread starts, constant afterwards.
  LibraryConfig config_;
  int maxEventSize_;
  bool testFlag_ = false;

  // Shared between threads.
  WorkQueue queue_;
  WorkItemPtr termItem_;                  // made at the start, so that the end needs no memory
  Platform::Lock impliedLock_;            // held to open the implied session
  std::atomic<bool> impliedOpen_{false};  // the id below is complete and stays as it is
  char impliedSessionId_[40] = {};
  Platform::Lock requestLock_;             // one synchronous request at a time
  std::string handOver_;                   // a pulled data block on its way to the host
  std::string pushed_;                     // a data block on its way in
  std::atomic<int> terminateTime_{10};     // seconds
  std::atomic<int64_t> finalDeadline_{0};  // monotonic milliseconds; 0 for none
  Platform::Lock senderLock_;              // held to replace the sender, and to set its deadline
  std::unique_ptr<ThreadedDataSender> sender_;

  // The session thread's own; what a host reads of it, it reads after its request was answered.
  ProductInfo product_;
  ClientInfo client_;
  Endpoint endpoint_;
  ChangedFlags changed_;
  RecordBuilder builder_;
  ConfigManager settings_;
  AppStatus status_;
  std::unique_ptr<CacheManager> cache_;  // null until the thread has looked at the disk
  ConfigLoaderPtr loader_;               // null when none was started
  SendSchedule schedule_;
  EventRate rate_;
  PendingEvents pending_;
  RecordList records_;
  std::string gatewayUrl_;
  int64_t unloadable_ = 0;  // bytes of cache files that the last send could not open
  int overheadEstimate_ = 0;
  int maxRecordSize_ = 0;
  int maxMemorySize_ = 0;
  int maxCacheFiles_ = 0;
  int maxCacheBytes_ = 0;
  int maxEventsPerMinute_ = 0;
  int maxEventsPerHour_ = 0;
  int commitResult_ = 0;
  bool cacheWriteFailed_ = false;  // since the last Commit
  bool terminating_ = false;
  bool suspended_ = false;
  bool suspendedForTermination_ = false;
  bool disabled_ = false;
  bool newServer_ = false;  // nothing of product and machine has been sent to it before
};

}  // namespace Tav
