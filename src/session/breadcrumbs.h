// What a user did just before an error: the recent places and commands of each session.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <string_view>

struct TavEvent_s;

namespace Tav {

// Used by the session thread only.
class Breadcrumbs {
 public:
  // How many places and how many commands each session keeps; 0 or less keeps none.
  void SetLength(int length) { length_ = length; }

  void SavePlace(std::string_view sessionId, std::string_view place);
  void SaveCommand(std::string_view sessionId, std::string_view command);

  // Adds the session's saved places as "std-Place" and its commands as "std-Cmd" to an error event.
  void AttachTo(TavEvent_s& errorEvent) const;

  // Forgets a session that has ended.
  void Forget(std::string_view sessionId);

 private:
  using Names = std::deque<std::string>;  // oldest first
  using Sessions = std::map<std::string, Names, std::less<>>;

  void Save(Sessions& sessions, bool isCommand, std::string_view sessionId, std::string_view name);
  static void Attach(TavEvent_s& event, std::string_view key, const Names& names);

  int length_ = 0;
  Sessions places_;
  Sessions commands_;
};

}  // namespace Tav
