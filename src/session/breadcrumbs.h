// Breadcrumbs: the recent places and commands of each session, attached to its errors.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <string_view>

struct TavEvent_s;

namespace Tav {

// Session thread only.
class Breadcrumbs {
 public:
  // The maximum of places, and of commands, per session; 0 or less for none.
  void SetLength(int length) { length_ = length; }

  // For each event in order: saves a place or a command, attaches the session's lists to an error
  // as "std-Place" and "std-Cmd", forgets a session that ends.
  void Update(TavEvent_s& event);

 private:
  using Names = std::deque<std::string>;  // oldest first
  using Sessions = std::map<std::string, Names, std::less<>>;

  void SavePlace(std::string_view sessionId, std::string_view place);
  void SaveCommand(std::string_view sessionId, std::string_view command);
  void AttachTo(TavEvent_s& errorEvent) const;
  void Forget(std::string_view sessionId);
  void Save(Sessions& sessions, bool isCommand, std::string_view sessionId, std::string_view name);
  static void Attach(TavEvent_s& event, std::string_view key, const Names& names);

  int length_ = 0;
  Sessions places_;
  Sessions commands_;
};

}  // namespace Tav
