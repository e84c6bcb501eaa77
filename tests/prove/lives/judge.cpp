#include "prove/lives/judge.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string_view>

#include "model/record_keys.h"
#include "util/json.h"

namespace Tav::Testing {

namespace {

constexpr char kCleanRun[] = "after";

// Lines that account for lost events.
struct Account {
  std::string_view line;
  bool whenKilled;  // events in memory are lost if the process is killed
};
constexpr Account kAccounts[] = {
    {"Events are kept in memory only", true},
    {"New events are kept in memory", true},
    {"could be neither sent nor stored and are lost", false},
    {"SM: Events that could be neither sent nor stored are lost", false},
    {"could not be read", false},
    {"SM: Out of memory. Event ", false},
};

// The text of a JSON document; empty if it is none.
std::string DocumentIn(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text(std::istreambuf_iterator<char>(file), {});
  return JsonPtr(json_loadb(text.data(), text.size(), 0, nullptr)) ? text : std::string();
}

class Case {
 public:
  Case(const Cell& cell, const Life& life) : cell_(cell), life_(life) {
    Lines runs = {life.name, kCleanRun};
    if (!life.fresh) {
      runs.emplace_back(kLives[0].name);
      runs.emplace_back(kLives[1].name);
    }
    for (const std::string& run : runs) {
      Read(run);
    }
  }

  Verdict Decide(Ending ending, bool undisturbed) {
    CheckEndings(ending, undisturbed);
    CheckEvents(ending == Ending::Died);
    CheckFiles();
    for (const std::string& line : log_) {
      // "Send ... failed", "Server send failure": the gateway is down in each life.
      const bool bad = line.find("Unexpected exception") != std::string::npos;
      const bool loud = (line.starts_with("warning: ") && line.find("end ") == std::string::npos) ||
                        line.starts_with("error: ");
      if (bad || (undisturbed && loud)) {
        Complain("the log has '" + line + "'");
      }
    }
    if (undisturbed && verdict_.lost + verdict_.twice > 0) {
      Complain("events were lost or delivered twice without a fault");
    }
    return std::move(verdict_);
  }

 private:
  void Complain(std::string text) { verdict_.complaints.push_back(std::move(text)); }

  void Read(const std::string& run) {
    const Evidence evidence(cell_.EvidenceOf(run));
    const Lines& accepted = evidence.Of(Fact::Accepted);
    const Lines& reported = evidence.Of(Fact::Reported);
    const Lines& log = evidence.Of(Fact::Logged);
    accepted_.insert(accepted.begin(), accepted.end());
    reported_.insert(reported.begin(), reported.end());
    log_.insert(log_.end(), log.begin(), log.end());
    for (const std::string& record : evidence.Of(Fact::Delivered)) {
      ReadRecord(record);
    }
    if (run == kCleanRun) {
      ended_ = !evidence.Of(Fact::Ended).empty();
      const Lines& commits = evidence.Of(Fact::Commit);
      sent_ = !commits.empty() && commits.back() == "0";
      if (accepted.size() != 1) {
        Complain("the clean run accepts no event");
      }
    }
  }

  void ReadRecord(const std::string& record) {
    constexpr std::string_view kKey = "\"id\":\"";
    json_error_t error;
    const JsonPtr document(json_loadb(record.data(), record.size(), 0, &error));
    if (!document) {
      Complain("a record is no JSON document: " + std::string(error.text));
      return;
    }
    for (const std::string_view key : {Key::kProductName, Key::kProductVersion, Key::kEndpoint}) {
      if (json_string_length(json_object_get(document.Get(), key.data())) == 0) {
        Complain("a record lacks '" + std::string(key) + "'");
      }
    }
    for (size_t at = record.find(kKey); at != std::string::npos; at = record.find(kKey, at)) {
      at += kKey.size();
      ++delivered_[record.substr(at, record.find('"', at) - at)];
    }
  }

  void CheckEndings(Ending ending, bool undisturbed) {
    if (ending == Ending::Failed || ending == Ending::Hung ||
        (undisturbed && ending != Ending::Returned)) {
      Complain(ending == Ending::Hung ? "the life hangs" : "the life crashes");
    }
    if (!ended_ || !sent_) {
      Complain(ended_ ? "the clean run cannot send everything" : "the clean run does not end");
    }
  }

  // The line that accounts for lost events; empty if there is none.
  std::string FindAccount(bool killed) const {
    for (const std::string& line : log_) {
      for (const Account& account : kAccounts) {
        if ((killed || !account.whenKilled) && line.find(account.line) != std::string::npos) {
          return line;
        }
      }
    }
    return {};
  }

  void CheckEvents(bool killed) {
    std::string lost;
    for (const std::string& event : accepted_) {
      if (!delivered_.contains(event)) {
        lost += ' ' + event;
        ++verdict_.lost;
      }
    }
    verdict_.accepted = static_cast<int>(accepted_.size());
    verdict_.account = FindAccount(killed);
    if (verdict_.lost > 0 && verdict_.account.empty()) {
      Complain("events are lost without a word:" + lost);
    }
    for (const auto& [event, times] : delivered_) {
      verdict_.twice += times > 1 ? 1 : 0;
      if (!reported_.contains(event)) {
        Complain("nobody has reported the event '" + event + "'");
      }
    }
  }

  // After the clean run.
  void CheckFiles() {
    for (const std::string name : {"TavData", "TsTavData"}) {
      const std::string path = cell_.Storage() + '/' + name;
      // A save that was interrupted leaves a copy, which the next save needs no more.
      std::string text = DocumentIn(path);
      text = text.empty() ? DocumentIn(path + ".new") : text;
      if (text.empty()) {
        Complain(name + " is no JSON document");
      } else if (!life_.fresh && name == "TavData" && text.find(kOtherProduct) == text.npos) {
        Complain(name + " has lost what another product stored");
      }
    }
    for (const auto& entry : std::filesystem::directory_iterator(cell_.Storage())) {
      const std::string name = entry.path().filename().string();
      if (name.find("TavData") == std::string::npos) {
        Complain("the clean run leaves " + name);
      }
    }
  }

  const Cell& cell_;
  const Life& life_;
  Verdict verdict_;
  std::set<std::string> accepted_;
  std::set<std::string> reported_;
  std::map<std::string, int> delivered_;
  Lines log_;
  bool ended_ = false;
  bool sent_ = false;
};

}  // namespace

Verdict Judge(const Cell& cell, const Life& life, Ending ending, bool undisturbed) {
  if (RunChild({cell.folder, kCleanRun}) != Ending::Returned) {
    return {.complaints = {"the clean run crashes or hangs"}};
  }
  return Case(cell, life).Decide(ending, undisturbed);
}

}  // namespace Tav::Testing
