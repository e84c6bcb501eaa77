#include "prove/network/network_cases.h"

#include <set>
#include <utility>

namespace Prove {
namespace {

using Kind = Misbehaviour::Kind;
using Then = Misbehaviour::Then;
using Target = NetworkCase::Target;

constexpr std::int64_t kEndless = 1'000'000'000;
constexpr std::size_t kPieceSize = 65536;

using Sizes = std::vector<std::size_t>;

std::string Head(const std::string& statusAndHeaders) {
  return "HTTP/1.1 " + statusAndHeaders + "\r\n\r\n";
}

// A complete answer with a short body, on a connection that stays open.
Misbehaviour Status(int status, const std::string& headers = "") {
  Misbehaviour answer;
  answer.answer =
      Head(std::to_string(status) + " Whatever\r\n" + headers + "Content-Length: 5") + "never";
  answer.keepOpen = true;
  return answer;
}

// `first` and then `again`, many times.
Misbehaviour Stream(const std::string& first,
                    const std::string& again,
                    std::int64_t repeats,
                    int pause = 0) {
  Misbehaviour answer;
  answer.answer = first;
  answer.repeated = again;
  answer.repeats = repeats;
  answer.pause = pause;
  return answer;
}

Misbehaviour Stored(Misbehaviour misbehaviour) {
  misbehaviour.store = true;
  return misbehaviour;
}

Misbehaviour CutClient(std::size_t bytes, Then then) {
  return {.kind = Kind::Cut, .answer = {}, .clientBytes = bytes, .then = then};
}

Misbehaviour CutServer(std::size_t bytes, Then then) {
  return {.kind = Kind::Cut, .answer = {}, .serverBytes = bytes, .then = then};
}

void AddStatuses(std::vector<NetworkCase>& cases) {
  for (const int status : {300, 301, 302, 303, 304, 305, 307, 308}) {
    cases.push_back({.name = "status/" + std::to_string(status),
                     .misbehaviour = Status(status, "Location: http://127.0.0.1:1/elsewhere\r\n")});
  }
  for (const int status : {201, 204, 400, 401, 404, 407, 408, 413, 429, 500, 502, 503, 599}) {
    cases.push_back({.name = "status/" + std::to_string(status), .misbehaviour = Status(status)});
  }
  const std::pair<const char*, const char*> waits[] = {{"seconds", "1"},
                                                       {"hour", "3600"},
                                                       {"ages", "99999999999999999999999"},
                                                       {"negative", "-5"},
                                                       {"date", "Wed, 21 Oct 2037 07:28:00 GMT"}};
  for (const auto& [name, wait] : waits) {
    cases.push_back({.name = std::string("retry-after/") + name,
                     .misbehaviour = Status(429, std::string("Retry-After: ") + wait + "\r\n")});
  }
}

// Answers that are not what they should be. Where the status is 200, the gateway has the record.
void AddAnswers(std::vector<NetworkCase>& cases) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string unavailable = "HTTP/1.1 503 Unavailable\r\n";
  const std::string piece(kPieceSize, 'x');
  const std::string line = "X-Filler: " + std::string(1000, 'y') + "\r\n";
  const std::string hundredMegabytes = "Content-Length: 104857600\r\n\r\n";
  const std::vector<std::pair<std::string, Misbehaviour>> answers = {
      {"dripped-head", Stream(unavailable + "X: ", "y", kEndless, 100)},
      {"dripped-head-200", Stored(Stream(ok + "X: ", "y", kEndless, 100))},
      {"dripped-body", Stored(Stream(ok + hundredMegabytes, "y", kEndless, 100))},
      {"dripped-body-503", Stream(unavailable + hundredMegabytes, "y", kEndless, 100)},
      {"endless-body", Stored(Stream(ok + "\r\n", piece, kEndless))},
      {"endless-body-503", Stream(unavailable + "\r\n", piece, kEndless)},
      {"hundred-megabytes", Stored(Stream(ok + hundredMegabytes, piece, 1600))},
      {"hundred-megabytes-503", Stream(unavailable + hundredMegabytes, piece, 1600)},
      {"megabyte-of-headers", Stored(Stream(ok, line, 1000))},
      {"megabyte-of-headers-503", Stream(unavailable, line, 1000)},
      {"one-header-of-a-megabyte", Stream(unavailable + "X: ", piece, 16)},
      {"endless-headers", Stream(unavailable, line, kEndless)},
      {"continue", Stored(Stream(Head("100 Continue"), Head("200 OK\r\nContent-Length: 0"), 1))},
      {"endless-continue", Stream("", Head("100 Continue"), kEndless, 20)},
      {"continue-and-silence", Stream(Head("100 Continue"), "", kEndless, 100)},
      {"truncated-gzip",
       Stored(Stream(ok + "Content-Encoding: gzip\r\nContent-Length: 1000\r\n\r\n",
                     std::string("\x1f\x8b\x08\0\0\0\0\0", 8), 1))},
      {"short-body", Stored(Stream(ok + "Content-Length: 1000\r\n\r\n", "short", 1))},
      {"negative-length", Stored(Stream(ok + "Content-Length: -1\r\n\r\n", "short", 1))},
      {"broken-chunk",
       Stored(Stream(ok + "Transfer-Encoding: chunked\r\n\r\n", "FFFFFFFFFFFFFFFFF\r\nx", 1))},
      {"no-status", Stream("", "HTTP/1.1\r\n\r\n", 1)},
      {"garbage", Stream("", std::string("\0\xff\x16\x03\x01\0", 6) + piece, 1)},
      {"empty", Stream("", "", 0)},
  };
  for (const auto& [name, misbehaviour] : answers) {
    // Wine 8's winhttp.dll keeps all headers until the request is ended; that of Windows refuses
    // more than 64 KB.
    cases.push_back({.name = "answer/" + name,
                     .misbehaviour = misbehaviour,
                     .mayDouble = misbehaviour.store,
                     .unboundedInWine = name == "endless-headers"});
  }
  Misbehaviour early = Status(413);
  early.ignoreBody = true;
  early.keepOpen = false;
  cases.push_back({.name = "answer/before-the-body", .misbehaviour = early});
}

// The connection is cut after so many bytes. A request has some 350 bytes of head and up to 500,000
// of body.
void AddCuts(std::vector<NetworkCase>& cases) {
  const std::pair<const char*, Then> ends[] = {
      {"close", Then::Close}, {"reset", Then::Reset}, {"stall", Then::Stall}};
  for (const auto& [name, then] : ends) {
    for (const std::size_t bytes : Sizes{0, 10, 200, 1000, 100000}) {
      cases.push_back({.name = std::string("upload/") + name + '-' + std::to_string(bytes),
                       .misbehaviour = CutClient(bytes, then)});
    }
    for (const std::size_t bytes : Sizes{1, 12, 30}) {
      // Wine 8's winhttp.dll sometimes crashes if the connection is reset among the headers: it
      // counts the failed read as -1 bytes.
      cases.push_back({.name = std::string("answer/") + name + '-' + std::to_string(bytes),
                       .misbehaviour = CutServer(bytes, then),
                       .mayDouble = true,
                       .onlyNative = then == Then::Reset && bytes > 12});
    }
    // The flights of a handshake have some 200 to 2,000 bytes.
    for (const std::size_t bytes : Sizes{0, 5, 300, 1000}) {
      cases.push_back({.name = std::string("tls/client-") + name + '-' + std::to_string(bytes),
                       .misbehaviour = CutClient(bytes, then),
                       .https = true});
    }
    for (const std::size_t bytes : Sizes{1, 6, 100, 700, 1000, 1300}) {
      cases.push_back({.name = std::string("tls/server-") + name + '-' + std::to_string(bytes),
                       .misbehaviour = CutServer(bytes, then),
                       .mayDouble = true,
                       .https = true});
    }
  }
  for (const std::size_t bytes : Sizes{0, 1, 100, 700, 1000}) {
    cases.push_back({.name = "tls/corrupt-" + std::to_string(bytes),
                     .misbehaviour = CutServer(bytes, Then::Corrupt),
                     .mayDouble = true,
                     .https = true});
  }
  cases.push_back(
      {.name = "flapping/reset", .misbehaviour = CutClient(50000, Then::Reset), .flaps = true});
  // On a new connection each time.
  Misbehaviour unavailable = Status(503, "Connection: close\r\n");
  unavailable.keepOpen = false;
  cases.push_back({.name = "flapping/503", .misbehaviour = unavailable, .flaps = true});
  cases.push_back({.name = "flapping/lost-answers",
                   .misbehaviour = CutServer(5, Then::Reset),
                   .mayDouble = true,
                   .flaps = true});
  cases.push_back({.name = "flapping/tls",
                   .misbehaviour = CutServer(1000, Then::Close),
                   .mayDouble = true,
                   .flaps = true,
                   .https = true});
}

// The gateway is good, the settings server is not.
void AddSettings(std::vector<NetworkCase>& cases) {
  for (std::size_t i = 0, count = cases.size(); i < count; ++i) {
    static const std::set<std::string> wanted = {"status/302",
                                                 "status/503",
                                                 "answer/dripped-head-200",
                                                 "answer/dripped-body",
                                                 "answer/endless-body",
                                                 "answer/hundred-megabytes",
                                                 "answer/megabyte-of-headers",
                                                 "answer/endless-continue",
                                                 "answer/broken-chunk",
                                                 "answer/truncated-gzip",
                                                 "upload/reset-10",
                                                 "upload/stall-0"};
    if (wanted.contains(cases[i].name)) {
      NetworkCase settings = cases[i];
      settings.name = "settings/" + settings.name;
      settings.target = Target::Settings;
      settings.misbehaviour.store = false;
      settings.mayDouble = true;  // the run ends while its records travel
      cases.push_back(settings);
    }
  }
}

const std::set<std::string>& ShortCases() {
  static const std::set<std::string> names = {"status/302",
                                              "status/413",
                                              "retry-after/ages",
                                              "answer/dripped-head",
                                              "answer/endless-body",
                                              "answer/hundred-megabytes-503",
                                              "answer/megabyte-of-headers",
                                              "answer/endless-continue",
                                              "upload/reset-100000",
                                              "answer/reset-1",
                                              "tls/server-close-700",
                                              "tls/corrupt-700",
                                              "flapping/reset",
                                              "name/unknown",
                                              "settings/answer/endless-body"};
  return names;
}

}  // namespace

std::vector<NetworkCase> NetworkCases() {
  std::vector<NetworkCase> cases;
  AddStatuses(cases);
  AddAnswers(cases);
  AddCuts(cases);
  AddSettings(cases);
  // Longer than a name may be: no name server is asked.
  cases.push_back({.name = "name/unknown", .misbehaviour = {}, .host = std::string(64, 'a')});
  for (NetworkCase& one : cases) {
    one.isShort = ShortCases().contains(one.name);
  }
  return cases;
}

}  // namespace Prove
