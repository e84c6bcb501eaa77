// One host thread of table_fuzz.cpp: turns bytes into calls of the table.
#pragma once

#include <array>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "api/entry_points.h"
#include "fuzz.h"
#include "host_calls.h"
#include "model/handles.h"

namespace Tav::Fuzz {

constexpr int kMaxCalls = 80;
// Of each thread. A spent value or session is recognised until 32 others are spent.
constexpr int kMaxSpent = 12;

// One host thread and its handles.
class HostThread : private HostCalls {
 public:
  using HostCalls::HostCalls;

  void Run() {
    for (int i = 0; i < kMaxCalls && !input_.Empty(); ++i) {
      Call();
    }
  }

  // Gives back what it still holds.
  void Finish() {
    for (TavEvent_s*& event : events_) {
      tav.LogEvent(event);
      logged_ += event != nullptr && counted_[event] ? 1 : 0;
      event = nullptr;
    }
    for (Value& value : values_) {
      if (value.live) {
        tav.AddProductInfoValue("Rest", value.handle);
      }
    }
    for (Session& session : sessions_) {
      if (session.live) {
        tav.SessionEnd(session.handle);
      }
    }
    if (component_ != nullptr) {
      component_->Release(component_);
    }
  }

  int Logged() const { return logged_; }

 private:
  struct Value {
    TavValue_s* handle = nullptr;
    bool live = false;
    bool isMap = false;
  };
  struct Session {
    TavSession_s* handle = nullptr;
    bool live = false;
  };

  // Events are numbered in the order in which they are logged, so one at a time has a number that
  // is not logged yet.
  std::string NextName() {
    return std::string(kCounted) + static_cast<char>('a' + number_) + std::to_string(logged_ + 1);
  }

  TavEvent_s*& AnyEvent() { return events_[input_.Below(4)]; }
  Value& AnyValue() { return values_[input_.Below(4)]; }
  Session& AnySession() { return sessions_[input_.Below(2)]; }

  // A pointer that is not a live event: null, a copy of one with the mark of a spent one, and where
  // the types of objects are not checked at run time, any other memory.
  TavEvent_s* NoEvent() {
    switch (input_.Below(3)) {
      case 0:
        return nullptr;
      case 1:
        return SpentCopy();
      default:
        return foreign_.Filled(input_.Below(5));
    }
  }

  TavEvent_s* SpentCopy() {
    for (const TavEvent_s* const event : events_) {
      if (event != nullptr) {
        return foreign_.CopyOf(event, input_.Flag() ? kHandleConsumed : 0);
      }
    }
    return nullptr;
  }

  void Call() {
    constexpr void (HostThread::* kCalls[])() = {
        &HostThread::MakeEvent,   &HostThread::MakeEvent,  &HostThread::FillEvent,
        &HostThread::FillEvent,   &HostThread::LogEvent,   &HostThread::LogEvent,
        &HostThread::MisuseEvent, &HostThread::MakeValue,  &HostThread::FillValue,
        &HostThread::SpendValue,  &HostThread::UseSession, &HostThread::UseSession,
        &HostThread::Report,      &HostThread::Query,      &HostThread::Transfer,
        &HostThread::Component,   &HostThread::Set,        &HostThread::Counters,
    };
    (this->*kCalls[input_.Byte() % std::size(kCalls)])();
  }

  void MakeEvent() {
    TavEvent_s*& event = AnyEvent();
    if (event != nullptr) {
      return;
    }
    switch (input_.Below(6)) {
      case 0:
        event = tav.NewCommandEvent(Text());
        break;
      case 1:
        event = tav.NewErrorEvent(Text(), Text());
        break;
      case 2:
        event = tav.NewEvent(Text());
        break;
      default:
        // The order is the order of logging, so one event at a time has a number.
        if (numbered_) {
          return;
        }
        event =
            tav.SessionNewEvent(input_.Flag() ? AnySession().handle : nullptr, NextName().c_str());
        numbered_ = counted_[event] = true;
        return;
    }
    counted_[event] = false;
  }

  void FillEvent() {
    TavEvent_s* const event = AnyEvent();
    switch (input_.Below(3)) {
      case 0:
        tav.AddEventProperty(event, Text(), Text());
        break;
      case 1:
        tav.AddNumericEventProperty(event, Text(), input_.Take<double>());
        break;
      case 2:
        tav.AddTraceItem(event, Text(), Text(), Text());
        break;
    }
  }

  void LogEvent() {
    TavEvent_s*& event = AnyEvent();
    const bool counts = event != nullptr && counted_[event];
    tav.LogEvent(event);
    if (counts) {
      ++logged_;
      numbered_ = false;
    }
    event = nullptr;
  }

  void MisuseEvent() {
    TavEvent_s* const event = NoEvent();
    const size_t before = Fuzz::Complaints();
    switch (input_.Below(4)) {
      case 0:
        tav.LogEvent(event);
        break;
      case 1:
        tav.AddEventProperty(event, "Name", "text");
        break;
      case 2:
        tav.AddNumericEventProperty(event, "Name", 1.0);
        break;
      case 3:
        tav.AddTraceItem(event, "location", nullptr, nullptr);
        break;
    }
    Require(Fuzz::Complaints() > before, "misuse is logged");
  }

  void MakeValue() {
    Value& value = AnyValue();
    if (!value.live) {
      const bool isMap = input_.Flag();
      value = {isMap ? tav.NewMapValue() : tav.NewListValue(), true, isMap};
    }
  }

  void FillValue() {
    const Value& value = AnyValue();
    switch (input_.Below(3)) {
      case 0:
        tav.AddStringValue(value.handle, Text(), Text());
        break;
      case 1:
        tav.AddNumericValue(value.handle, Text(), input_.Take<double>());
        break;
      case 2:
        tav.AddListValue(value.handle, Text());
        break;
    }
  }

  // Also passes values that were spent before.
  void SpendValue() {
    Value& value = AnyValue();
    constexpr const char* kKeys[] = {"Key", "Other", " Key ", nullptr, "std-Key"};
    const char* const key = kKeys[input_.Below(5)];
    const bool good = key != nullptr && std::string_view(key) != "std-Key";
    if (good && value.live && ++spent_ > kMaxSpent) {
      return;
    }
    tav.AddProductInfoValue(key, value.handle);
    value.live = value.live && !good;
  }

  // Also uses sessions that have ended.
  void UseSession() {
    Session& session = AnySession();
    switch (input_.Below(6)) {
      case 0:
        if (!session.live) {
          session = {tav.SessionBegin(), true};
        }
        break;
      case 1:
        if (session.live ? spent_ < kMaxSpent : session.handle != nullptr) {
          spent_ += session.live ? 1 : 0;
          tav.SessionEnd(session.handle);
          session.live = false;
        }
        break;
      case 2:
        tav.SessionLogPlace(session.handle, Text());
        break;
      case 3:
        tav.SessionLogIdle(session.handle);
        break;
      case 4:
        tav.SessionIncrementCounter(session.handle, Text(), Text());
        break;
      case 5:
        tav.SessionAggregateValue(session.handle, Text(), Text(), input_.Take<double>());
        tav.SessionFlushAggregates(session.handle);
        break;
    }
  }

  void Component() {
    if (component_ == nullptr) {
      component_ = tav.CreateComponentAnalytics();
      component_->SetComponent(component_, Text(), Text());
      return;
    }
    TavEvent_s* event = nullptr;
    switch (input_.Below(4)) {
      case 0:
        event = component_->NewEvent(component_, Text());
        break;
      case 1:
        event = component_->NewCommandEvent(component_, Text());
        break;
      case 2:
        event = component_->NewErrorEvent(component_, Text(), Text());
        break;
      case 3:
        component_->Release(component_);
        component_ = nullptr;
        return;
    }
    component_->AddEventProperty(component_, event, Text(), Text());
    component_->LogEvent(component_, event);
  }

  std::array<TavEvent_s*, 4> events_{};
  std::array<Value, 4> values_{};
  std::array<Session, 2> sessions_{};
  TavComponent_s* component_ = nullptr;
  Foreign foreign_;
  std::map<TavEvent_s*, bool> counted_;
  bool numbered_ = false;  // an event that is not logged yet has a number
  int logged_ = 0;         // events with a number
  int spent_ = 0;
};

}  // namespace Tav::Fuzz
