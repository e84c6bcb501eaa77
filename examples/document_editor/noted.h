// Wrappers around the types of tav.hpp with the same functions. They also note each call, so that
// the demonstration can compare the calls with what arrives. A real application uses Tav::Host
// directly.
#pragma once

#include <atomic>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "property.h"
#include "tav/tav.hpp"

namespace DocumentEditor {

struct TraceItem {
  std::string location;
  std::string library;
  std::string meta;
};

// One call that reported something.
struct Note {
  explicit Note(const char* noteKind, std::string noteName = {}, std::string noteDetail = {})
      : kind(noteKind), name(std::move(noteName)), detail(std::move(noteDetail)) {}

  const char* kind;    // event, command, error, place, idle, count, value, flush, begin or end
  std::string name;    // of the report; for an error its code, for a counter or statistic its event
  std::string detail;  // for an error its message, for a counter or statistic its name
  int session = 0;     // serial number of the session's "begin"
  std::string component;  // empty for the editor's own
  double value = 0;       // the value added to a statistic
  std::vector<Property> properties;
  std::vector<TraceItem> trace;
  int serial = 0;
};

// The calls of one thread, in order. Used by that thread only.
class Notebook {
 public:
  // The notes of all threads have consecutive serial numbers, starting after `lastSerial`.
  Notebook(std::string thread, std::atomic<int>& lastSerial)
      : thread_(std::move(thread)), lastSerial_(lastSerial) {}

  // Returns the note's serial number.
  int Add(Note note);
  // Notes the beginning of a session. Returns the session's number, which is the note's serial
  // number.
  int AddBegin(const char* label);
  void AddEnd(int session);

  const std::string& Thread() const { return thread_; }
  const std::vector<Note>& Notes() const { return notes_; }

 private:
  const std::string thread_;
  std::atomic<int>& lastSerial_;
  std::vector<Note> notes_;
};

// Tav::Host::Event. The property "Seq" carries the note's serial number to the gateway.
class [[nodiscard]] Event {
 public:
  Event(Tav::Host::Event event, Note note, Notebook& notes)
      : event_(std::move(event)), note_(std::move(note)), notes_(notes) {}

  template <typename Value>
  Event Add(const char* name, Value value) && {
    event_.Add(name, value);
    note_.properties.emplace_back(name, value);
    return std::move(*this);
  }
  Event AddTraceItem(const char* location, const char* library, const char* meta) && {
    event_.AddTraceItem(location, library, meta);
    note_.trace.push_back({location, library, meta});
    return std::move(*this);
  }
  void Log() {
    const int serial = notes_.Add(std::move(note_));
    event_.Add("Seq", serial).Log();
  }

 private:
  Tav::Host::Event event_;
  Note note_;
  Notebook& notes_;
};

// A source of events: Tav::Host::Table, Session or Component.
template <typename Source>
class Noted {
 public:
  // `session` is the number of the session that the source's events belong to.
  Noted(Source source, Notebook& notes, int session, std::string component = {})
      : source_(std::move(source)),
        notes_(notes),
        session_(session),
        component_(std::move(component)) {}

  Event NewEvent(const char* name) {
    return Event(source_.NewEvent(name), Blank("event", name), notes_);
  }
  Event NewCommandEvent(const char* command) {
    return Event(source_.NewCommandEvent(command), Blank("command", command), notes_);
  }
  Event NewErrorEvent(const char* code, const char* message) {
    return Event(source_.NewErrorEvent(code, message), Blank("error", code, message), notes_);
  }
  void LogPlace(const char* place) {
    notes_.Add(Blank("place", place));
    source_.LogPlace(place);
  }
  void LogIdle() {
    notes_.Add(Blank("idle", ""));
    source_.LogIdle();
  }
  void IncrementCounter(const char* group, const char* counter) {
    notes_.Add(Blank("count", group, counter));
    source_.IncrementCounter(group, counter);
  }
  void AggregateValue(const char* event, const char* property, double value) {
    Note note = Blank("value", event, property);
    note.value = value;
    notes_.Add(std::move(note));
    source_.AggregateValue(event, property, value);
  }
  void FlushAggregates() {
    notes_.Add(Blank("flush", ""));
    source_.FlushAggregates();
  }

 protected:
  Note Blank(const char* kind, const char* name, const char* detail = "") const {
    Note note(kind, name, detail);
    note.session = session_;
    note.component = component_;
    return note;
  }

  Source source_;
  Notebook& notes_;
  int session_;

 private:
  std::string component_;
};

// Tav::Host::Session. `label` is for the report only.
class Session : public Noted<Tav::Host::Session> {
 public:
  Session(const Tav::Host::Table& tav, const char* label, Notebook& notes)
      : Noted(Tav::Host::Session(tav), notes, notes.AddBegin(label)) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() { notes_.AddEnd(session_); }
};

// The settings and product values of Tav::Host::Table.
class Settings {
 public:
  struct Call {
    std::string name;
    std::string key;
    std::string value;  // JSON
  };

  explicit Settings(const Tav::Host::Table& tav) : tav_(tav) {}

  void SetVersionQualifier(const char* qualifier);
  void SetCustomerIdentifier(const char* id);
  void SetUserIdentifier(const char* id);
  void SetProductContext(const char* context);
  void SetProductComponentName(const char* name);
  void AddTag(int category, const char* tag);
  template <typename Value>
  void AddProductInfo(const char* key, Value value) {
    tav_.AddProductInfo(key, value);
    Remember("AddProductInfo", key, JsonText(Property(key, value)));
  }
  void AddProductInfoMap(const char* key, std::initializer_list<Property> members);
  void AddProductInfoList(const char* key, std::initializer_list<const char*> items);
  template <typename Value>
  void AddSessionEnvInfo(const char* key, Value value) {
    tav_.AddSessionEnvInfo(key, value);
    Remember("AddSessionEnvInfo", key, JsonText(Property(key, value)));
  }

  const std::vector<Call>& Calls() const { return calls_; }

 private:
  void Remember(const char* name, std::string key, std::string value) {
    calls_.push_back({name, std::move(key), std::move(value)});
  }

  Tav::Host::Table tav_;
  std::vector<Call> calls_;
};

}  // namespace DocumentEditor
