#include "fleet/client.h"

#include <algorithm>

#include "fleet/random.h"
#include "util/now.h"

namespace Fleet {

namespace {

// The wall clock at the first midnight.
constexpr int64_t kFirstMidnight = 1'700'006'400;

// Sending ends a second before the library must have ended.
constexpr int64_t kLeftForCache = 1;

// Seeds of a client's numbers apart from those of its days, which are small.
constexpr uint64_t kOfInterval = 1U << 30U;
constexpr uint64_t kOfRetries = 1U << 31U;

// The default time stands for a timer that is not armed.
Tav::Now At(int64_t time) {
  return {Tav::MonotonicTime(1 + time), kFirstMidnight + time};
}

int64_t TimeOf(Tav::MonotonicTime timer) {
  return timer == Tav::MonotonicTime() ? kNever : timer.Seconds() - 1;
}

}  // namespace

Client::Client(uint32_t number, const World& world)
    : activity_(world.scenario.workday, world.scenario.seed, number, world.scenario.begin / kDay),
      number_(number) {}

int64_t Client::Step(int64_t time, const World& world) {
  ++world.figures.turns;
  if (state_ == State::Off) {
    StartRun(time, world);
  }
  if (state_ == State::Ending) {
    ContinueEnd(time, world);
  } else if (time >= activity_.Stop()) {
    BeginEnd(time, world);
  } else {
    do {
      Turn(time, world);
    } while (!sending_ && schedule_.Armed() && schedule_.ComputeTimeout(At(time)) == 0);
  }
  NoteBehind(world);
  return NextStep(time, world);
}

void Client::StartRun(int64_t time, const World& world) {
  Tav::SendSchedule::Tuning tuning = world.scenario.limits.schedule;
  if (world.scenario.intervalSpread > 0 && tuning.sendInterval > 0) {
    Draw draw(world.scenario.seed, number_, kOfInterval);
    tuning.sendInterval +=
        static_cast<int>(draw.Around(tuning.sendInterval * world.scenario.intervalSpread / 100));
  }
  schedule_ = {};
  schedule_.Tune(tuning);
  const int64_t oldest = backlog_.OldestTime();
  schedule_.SetInitialWaitTime(At(time), backlog_.Cached(), kFirstMidnight + oldest);
  taken_ = 0;
  state_ = State::Running;
}

void Client::BeginEnd(int64_t time, const World& world) {
  TakeEvents(time, world);
  BuildRecords(true, world);
  deadline_ = time + world.scenario.limits.terminateTime - kLeftForCache;
  state_ = State::Ending;
  if (MaySendAtEnd(time)) {
    SendSome(time, world);
  } else {
    sending_ = false;
  }
  if (!sending_) {
    ContinueEnd(time, world);
  }
}

bool Client::MaySendAtEnd(int64_t time) {
  return !schedule_.NeverSends() &&
         (!schedule_.PersistentInterval() || schedule_.WaitTime() <= At(time).monotonic ||
          schedule_.CheckSendThreshold({backlog_.Memory().bytes, backlog_.Cached()}));
}

void Client::ContinueEnd(int64_t time, const World& world) {
  if (sending_ && time < deadline_) {
    SendSome(time, world);
  }
  if (!sending_ || time >= deadline_) {
    sending_ = false;
    Flush(time, world);
    state_ = State::Off;
    activity_ = Activity(world.scenario.workday, world.scenario.seed, number_, time / kDay + 1);
  }
}

void Client::Turn(int64_t time, const World& world) {
  schedule_.CheckTimers(At(time));
  TakeEvents(time, world);
  const bool due = sending_ || IsSendDue(world);
  if (due) {
    SendSome(time, world);
  }
  if (!due || sending_) {
    if (schedule_.FlushExpired() || backlog_.Memory().bytes > world.scenario.limits.maxMemorySize) {
      Flush(time, world);
    }
  }
  if (pending_ > 0 || backlog_.Memory().records > 0) {
    schedule_.OnLeftInMemory(At(time));
  }
}

void Client::TakeEvents(int64_t time, const World& world) {
  const int64_t fresh = activity_.EventsUntil(time, world.scenario.workday) - taken_;
  if (fresh <= 0) {
    return;
  }
  if (pending_ == 0) {
    schedule_.OnFirstPending(At(time));
  }
  taken_ += fresh;
  pending_ += fresh;
  world.figures.made += fresh;
}

// While no records fit into memory, events stay pending.
void Client::BuildRecords(bool all, const World& world) {
  const RecordModel& model = world.scenario.record;
  const Tav::Limits& limits = world.scenario.limits;
  const int64_t most = world.scenario.EventsOfFullRecord();
  while (pending_ > 0 && (all || pending_ >= most) &&
         backlog_.Memory().bytes < limits.maxMemorySize) {
    const int64_t events = std::min(pending_, most);
    const Amount record{1, events, model.wire + events * model.wirePerEvent};
    pending_ -= events;
    backlog_.Add(record);
    world.figures.waiting += record;
  }
}

bool Client::IsSendDue(const World& world) {
  const auto check = [this] {
    schedule_.CheckSendThreshold({backlog_.Memory().bytes, backlog_.Cached()});
    return schedule_.IsDue(false);
  };
  bool due = check();
  BuildRecords(due || schedule_.FlushExpired(), world);
  if (!schedule_.SendNow()) {
    due = check();
    if (schedule_.SendNow()) {
      BuildRecords(true, world);
    }
  }
  return due;
}

// The requests of one second. With everything in the cache, the first one has no body.
void Client::SendSome(int64_t time, const World& world) {
  int64_t left = world.scenario.requestsPerSecond;
  if (sending_) {
    BuildRecords(true, world);
  } else if (backlog_.Empty()) {
    return;
  } else if (backlog_.NothingInMemory()) {
    --left;
    if (!Post(time, {}, world)) {
      FinishSend(time, false, world);
      return;
    }
  }
  sending_ = true;
  for (; left > 0 && sending_; --left) {
    if (backlog_.NothingInMemory()) {
      BuildRecords(true, world);
    }
    if (backlog_.Empty()) {
      break;
    }
    const Amount record = backlog_.Next();
    if (!Post(time, record, world)) {
      FinishSend(time, false, world);
      return;
    }
    backlog_.RemoveNext(record);
    world.figures.waiting -= record;
    world.figures.delivered += record.events;
  }
  if (backlog_.Empty() && pending_ == 0) {
    FinishSend(time, true, world);
  }
}

bool Client::Post(int64_t time, const Amount& content, const World& world) {
  const Answer answer = world.gateways.Ask();
  world.figures.Count(time, answer, content.bytes);
  return answer == Answer::Accepted;
}

void Client::FinishSend(int64_t time, bool reached, const World& world) {
  sending_ = false;
  if (reached) {
    schedule_.OnSent(At(time));
  } else {
    schedule_.OnSendFailure(At(time), RetryAfter(time, world));
  }
  schedule_.OnSendDone();
}

int Client::RetryAfter(int64_t time, const World& world) const {
  const GatewayModel& model = world.scenario.gateways;
  Draw draw(world.scenario.seed, number_, kOfRetries + static_cast<uint64_t>(time));
  int64_t wish = 0;
  if (model.maxRetryAfter > 0) {
    wish = model.minRetryAfter + draw.Below(model.maxRetryAfter - model.minRetryAfter + 1);
  }
  if (world.scenario.jitter > 0) {
    const Tav::SendSchedule::Tuning& tuning = world.scenario.limits.schedule;
    const int64_t wait = tuning.resendTime + int64_t{tuning.resendDelta} * schedule_.Failures();
    wish = std::max(wish, wait + draw.Below(wait * world.scenario.jitter / 100 + 1));
  }
  return static_cast<int>(wish);
}

void Client::Flush(int64_t time, const World& world) {
  BuildRecords(true, world);
  schedule_.OnFlushed();
  const Amount dropped = backlog_.Flush(time, world.scenario.limits.maxCacheFiles,
                                        world.scenario.limits.maxCacheBytes);
  if (dropped.records > 0) {
    world.figures.dropped += dropped;
    world.figures.waiting -= dropped;
    world.figures.dropping += dropped_ ? 0 : 1;
    dropped_ = true;
  }
}

void Client::NoteBehind(const World& world) {
  const bool behind =
      (state_ == State::Running && schedule_.Failures() > 0) || backlog_.Cached() > 0;
  world.figures.behind += static_cast<int>(behind) - static_cast<int>(behind_);
  behind_ = behind;
  world.figures.largest =
      std::max(world.figures.largest, backlog_.Cached() + backlog_.Memory().bytes);
}

// The earliest moment at which a turn could have an effect: a timer, the first event after none, an
// event that fills a record, the stop.
int64_t Client::NextStep(int64_t time, const World& world) const {
  const Workday& workday = world.scenario.workday;
  if (state_ == State::Off) {
    return activity_.Start();
  }
  if (sending_) {
    return time + 1;
  }
  int64_t next = activity_.Stop();
  for (const Tav::MonotonicTime timer : {schedule_.WaitTime(), schedule_.MemoryFlushTime()}) {
    next = std::min(next, TimeOf(timer));
  }
  // While the wait runs, the end of a shorter pause changes nothing.
  if (schedule_.WaitTime() < schedule_.PauseTime()) {
    next = std::min(next, TimeOf(schedule_.PauseTime()));
  }
  const int64_t fresh = pending_ == 0 ? 1 : world.scenario.EventsOfFullRecord() - pending_;
  next = std::min(next, activity_.WhenReached(taken_ + std::max<int64_t>(fresh, 1), workday));
  return std::clamp(next, time + 1, time + world.scenario.step);
}

}  // namespace Fleet
