// The interface of the C API to the initialised library. Calls from host threads become items on a
// queue; the session thread, which this object owns, does all the work.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "model/library_config.h"
#include "session/implied_session.h"
#include "session/request_channel.h"
#include "session/request_data.h"
#include "session/work_queue.h"
#include "util/thread.h"

namespace Tav {

class DayStamps;
class SessionThread;

// The values are TavInitialize's status codes.
enum class InitResult { Started = 0, NoThread = 4 };

// Any host thread. No operation builds records, touches files or talks to the network.
class SessionManager final : public Thread {
 public:
  explicit SessionManager(LibraryConfig config);

  // Starts the session thread.
  InitResult Init();

  // Takes ownership of an event. One without a session joins the implied session.
  void Log(TavEvent_s* event);

  // Takes ownership of a named value for the product environment.
  void ChangeProductEnv(TavValue_s* value);

  // Synchronous requests. Each waits, without limit, until the session thread has handled all
  // earlier items and the request itself, which may include a send, or has ended. Concurrent
  // requests are served one after another. If the thread was killed: not sent or null.
  CommitResult Commit();
  // Removes the oldest record and returns it as a data block, which the caller frees with
  // std::free. Null when there is none.
  char* PullData();
  // Takes a data block back; anything else is rejected with a warning.
  void PushData(std::string_view block);
  // Questions wait in the same way, but not for a request to the server: they are answered
  // meanwhile, before earlier items of other kinds. If the thread was killed: empty, -1.
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

  // Ends the implied session and the session thread. Waits for the thread for at most the terminate
  // time; a thread that runs longer holds its own reference to this object.
  void Stop();

 protected:
  ~SessionManager() override;
  void Main() override;

 private:
  using Answer = RequestChannel::Answer;
  using DayStamp = int64_t (DayStamps::*)() const;

  void Queue(ItemCode code);
  long AskDay(const char* caller, const char* name, DayStamp stamp);

  const bool noImpliedRecords_;
  bool testFlag_ = false;
  WorkQueue queue_;
  ImpliedSession impliedSession_;
  WorkItemPtr termItem_;  // made at the start, so that the end needs no memory
  RequestChannel requests_;
  std::unique_ptr<SessionThread> sessionThread_;
};

}  // namespace Tav
