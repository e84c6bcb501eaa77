// One client: the library's own send schedule (src/session/send_schedule.h) between a user's day
// and the gateways. Does with counts what Delivery, SessionThread and Shutdown do with records; the
// tests compare it with Delivery itself.
#pragma once

#include <cstdint>

#include "fleet/activity.h"
#include "fleet/backlog.h"
#include "fleet/figures.h"
#include "fleet/gateways.h"
#include "fleet/scenario.h"
#include "session/send_schedule.h"

namespace Fleet {

// What all clients share.
struct World {
  const Scenario& scenario;
  Gateways& gateways;
  Figures& figures;
};

class Client {
 public:
  Client(uint32_t number, const World& world);

  // When it is to be stepped first.
  int64_t Start() const { return activity_.Start(); }
  // Does what is due in this second. Returns when to be called next, later than `time`.
  int64_t Step(int64_t time, const World& world);

  // Events that wait, in records or in none yet.
  int64_t Kept() const { return pending_ + backlog_.Total().events; }

 private:
  enum class State : uint8_t { Off, Running, Ending };

  void StartRun(int64_t time, const World& world);
  void BeginEnd(int64_t time, const World& world);
  void ContinueEnd(int64_t time, const World& world);

  void Turn(int64_t time, const World& world);
  void TakeEvents(int64_t time, const World& world);
  void BuildRecords(bool all, const World& world);
  bool IsSendDue(const World& world);
  bool MaySendAtEnd(int64_t time);
  void SendSome(int64_t time, const World& world);
  bool Post(int64_t time, const Amount& content, const World& world);
  void FinishSend(int64_t time, bool reached, const World& world);
  int RetryAfter(int64_t time, const World& world) const;
  void Flush(int64_t time, const World& world);
  void NoteBehind(const World& world);
  int64_t NextStep(int64_t time, const World& world) const;

  Tav::SendSchedule schedule_;
  Backlog backlog_;
  Activity activity_;
  int64_t taken_ = 0;    // events of today that the library has
  int64_t pending_ = 0;  // of these in no record yet
  int64_t deadline_ = 0;
  uint32_t number_;
  State state_ = State::Off;
  bool sending_ = false;
  bool behind_ = false;
  bool dropped_ = false;
};

}  // namespace Fleet
