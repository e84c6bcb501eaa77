// Breadcrumbs: the recent places and commands of each session, attached to its errors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "journal/entry.h"
#include "util/json.h"

namespace Tav {

// An event that becomes part of a record.
struct LoggedEvent {
  EntryFields fields;
  std::span<const std::byte> members;  // see EntryView::Members
  JsonPtr properties = {};             // takes the members' place if not null

  // Makes an object of the members, unless there are none. Throws std::bad_alloc.
  void LoadProperties();
};

// Session thread only.
class Breadcrumbs {
 public:
  // Sessions remembered at most. The end of a session is not reported when markers are switched
  // off, so sessions must also be forgotten without it: the one that was not used for the longest
  // time goes first.
  static constexpr size_t kMaxSessions = 256;

  // The maximum of places, and of commands, per session; 0 or less for none.
  void SetLength(int length) { length_ = length; }

  // For each event in order: saves a place or a command, attaches the session's lists to an error
  // as "std-Place" and "std-Cmd", forgets a session that ends. Loads the properties if it reads or
  // changes them. Throws std::bad_alloc; then call ReturnToMark, since the record is built anew
  // later.
  void Update(LoggedEvent& event);

  // A record begins here.
  void SetMark() { marked_ = Sessions(sessions_); }
  // Forgets the events since the mark: their record was not built. Throws nothing.
  void ReturnToMark() { sessions_.swap(marked_); }

 private:
  using Names = std::list<std::string>;  // oldest first
  struct Trail {
    Names places;
    Names commands;
    uint64_t lastUse = 0;  // a value of uses_
  };
  using Sessions = std::map<std::string, Trail, std::less<>>;

  enum class Crumb { Place, Command };

  void Save(Crumb crumb, std::string_view sessionId, std::string_view name);
  Trail& TrailOf(std::string_view sessionId);
  void ForgetLeastRecentlyUsed();
  void AttachTo(LoggedEvent& errorEvent);
  static void Attach(LoggedEvent& event, std::string_view key, const Names& names);

  int length_ = 0;
  uint64_t uses_ = 0;
  Sessions sessions_;
  Sessions marked_;  // as they were at the mark
};

}  // namespace Tav
